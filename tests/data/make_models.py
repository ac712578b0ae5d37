#!/usr/bin/env python3
"""Makes the small ONNX models of the platform's tests, beside itself. Needs python3-onnx.

small.onnx has every kind of layer whose weights OpenCV treats in a way of its own: it keeps those of
convolutions, combines those of normalisations as it makes the layer, and copies those of matrix products
whose rows (45 values) are no multiple of its vectors. small-LAYER-PRECISION.onnx is the same with the
weights of one layer rounded in the file.
"""
import pathlib

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

FOLDER = pathlib.Path(__file__).parent


def bf16(values):
    bits = values.view(np.uint32).astype(np.uint64)
    bits = (bits + 0x7FFF + ((bits >> 16) & 1)) & 0xFFFF0000
    return bits.astype(np.uint32).view(np.float32)


def f16(values):
    return values.astype(np.float16).astype(np.float32)


def save(name, nodes, inputs, outputs, weights):
    def value(entry):
        return helper.make_tensor_value_info(entry[0], TensorProto.FLOAT, entry[1])

    graph = helper.make_graph(nodes, name, [value(i) for i in inputs], [value(o) for o in outputs],
                              [numpy_helper.from_array(w, n) for n, w in weights.items()])
    model = helper.make_model(graph, producer_name="make_models.py",
                              opset_imports=[helper.make_opsetid("", 11)])
    model.ir_version = 6
    onnx.checker.check_model(model)
    onnx.save(model, str(FOLDER / (name + ".onnx")))


def small_weights():
    random = np.random.RandomState(1)

    def draw(*shape):
        return random.normal(0, 0.5, shape).astype(np.float32)

    return {
        "conv1.w": draw(8, 3, 3, 3), "conv1.b": draw(8),
        "bn1.scale": draw(8), "bn1.b": draw(8), "bn1.mean": draw(8), "bn1.var": np.abs(draw(8)) + 0.1,
        "conv2.w": draw(5, 8, 1, 1), "conv2.b": draw(5),
        "fc1.w": draw(10, 45), "fc1.b": draw(10),
    }


def save_small(name, weights):
    nodes = [
        helper.make_node("Conv", ["image", "conv1.w", "conv1.b"], ["1"], "conv1",
                         kernel_shape=[3, 3], pads=[1, 1, 1, 1]),
        helper.make_node("BatchNormalization", ["1", "bn1.scale", "bn1.b", "bn1.mean", "bn1.var"], ["2"],
                         "bn1"),
        helper.make_node("Relu", ["2"], ["3"], "relu 1"),
        helper.make_node("MaxPool", ["3"], ["4"], "pool1", kernel_shape=[2, 2], strides=[2, 2]),
        helper.make_node("Conv", ["4", "conv2.w", "conv2.b"], ["5"], "conv2", kernel_shape=[1, 1]),
        helper.make_node("Flatten", ["5"], ["6"], "flatten1"),
        helper.make_node("Gemm", ["6", "fc1.w", "fc1.b"], ["scores"], "fc1", transB=1),
    ]
    save(name, nodes, [("image", [1, 3, 6, 6])], [("scores", [1, 10])], weights)


save_small("small", small_weights())
for layer, precision in [("conv1", bf16), ("bn1", f16), ("fc1", bf16)]:
    rounded = {name: precision(w) if name.startswith(layer + ".") else w
               for name, w in small_weights().items()}
    save_small("small-%s-%s" % (layer, precision.__name__), rounded)

save("two-inputs",
     [helper.make_node("Sub", ["left", "right"], ["difference"], "sub1"),
      helper.make_node("Relu", ["difference"], ["positive"], "relu1"),
      helper.make_node("Neg", ["difference"], ["negative"], "neg1")],
     [("left", [1, 2, 3, 4]), ("right", [1, 2, 3, 4])],
     [("positive", [1, 2, 3, 4]), ("negative", [1, 2, 3, 4])], {})

save("open-size", [helper.make_node("Relu", ["image"], ["positive"], "relu1")],
     [("image", [1, 3, "height", "width"])], [("positive", [1, 3, "height", "width"])], {})

# 5 x 5 values become 24,001 x 24,001, more than a blob may have.
save("large-blob",
     [helper.make_node("ConvTranspose", ["image", "w"], ["large"], "up", kernel_shape=[1, 1],
                       strides=[6000, 6000])],
     [("image", [1, 1, "height", "width"])], [("large", [1, 1, "rows", "columns"])],
     {"w": np.ones((1, 1, 1, 1), np.float32)})

# Constants as first and as second operand; OpenCV makes the two at different times. The second one also
# serves a division, whose constant OpenCV turns into its reciprocal.
def save_constants(name, precision):
    random = np.random.RandomState(2)
    first, second = (random.uniform(1, 2, (1, 3, size, size)).astype(np.float32) for size in (6, 1))
    save(name,
         [helper.make_node("Sub", ["first", "image"], ["1"], "sub1"),
          helper.make_node("Mul", ["1", "second"], ["2"], "mul1"),
          helper.make_node("Div", ["2", "second"], ["scores"], "div1")],
         [("image", [1, 3, 6, 6])], [("scores", [1, 3, 6, 6])],
         {"first": precision(first), "second": second})


save_constants("constants", lambda values: values)
save_constants("constants-first-bf16", bf16)

# Recurrent layers, of which the second one gives only its last state.
random = np.random.RandomState(4)
save("recurrent",
     [helper.make_node("LSTM", ["image", "w1", "r1", "b1"], ["1"], "lstm1", hidden_size=4),
      helper.make_node("Squeeze", ["1"], ["2"], "squeeze1", axes=[1]),
      helper.make_node("LSTM", ["2", "w2", "r2", "b2"], ["", "state"], "lstm2", hidden_size=4),
      helper.make_node("Relu", ["state"], ["scores"], "relu1")],
     [("image", [5, 1, 3])], [("scores", [1, 1, 4])],
     {name: random.normal(0, 0.5, shape).astype(np.float32)
      for name, shape in [("w1", (1, 16, 3)), ("r1", (1, 16, 4)), ("b1", (1, 32)),
                          ("w2", (1, 16, 4)), ("r2", (1, 16, 4)), ("b2", (1, 32))]})
