#!/usr/bin/python3
"""Makes the small ONNX models of the platform's tests, beside itself. Needs Debian's python3-onnx.

small.onnx has every kind of layer whose weights OpenCV treats in a special way: it keeps those of
convolutions, combines those of normalisations as it makes the layer, and copies those of matrix products
whose rows (45 values) are no multiple of its vectors. small-LAYER-PRECISION.onnx is the same with the
weights of one layer rounded in the file.
"""
import pathlib

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper
from onnx.helper import make_node


def bf16(values):
    bits = values.view(np.uint32).astype(np.uint64)
    bits = (bits + 0x7FFF + ((bits >> 16) & 1)) & 0xFFFF0000
    return bits.astype(np.uint32).view(np.float32)


def f16(values):
    return values.astype(np.float16).astype(np.float32)


def draw(random, *shape):
    return random.normal(0, 0.5, shape).astype(np.float32)


def save(name, nodes, inputs, outputs, weights):
    """inputs, outputs: shapes by name; weights: arrays by name."""
    def values(shapes):
        return [helper.make_tensor_value_info(n, TensorProto.FLOAT, s) for n, s in shapes.items()]

    graph = helper.make_graph(nodes, name, values(inputs), values(outputs),
                              [numpy_helper.from_array(w, n) for n, w in weights.items()])
    model = helper.make_model(graph, producer_name="make_models.py",
                              opset_imports=[helper.make_opsetid("", 11)])
    model.ir_version = 6
    onnx.checker.check_model(model)
    onnx.save(model, str(pathlib.Path(__file__).with_name(name + ".onnx")))


# Shapes in the order in which they are drawn.
SHAPES = {"conv1.w": (8, 3, 3, 3), "conv1.b": (8,), "bn1.scale": (8,), "bn1.b": (8,), "bn1.mean": (8,),
          "bn1.var": (8,), "conv2.w": (5, 8, 1, 1), "conv2.b": (5,), "fc1.w": (10, 45), "fc1.b": (10,)}
random = np.random.RandomState(1)
small = {name: draw(random, *shape) for name, shape in SHAPES.items()}
small["bn1.var"] = np.abs(small["bn1.var"]) + np.float32(0.1)
for layer, precision in [("", None), ("conv1", bf16), ("bn1", f16), ("fc1", bf16)]:
    save("small" + ("-%s-%s" % (layer, precision.__name__) if layer else ""),
         [make_node("Conv", ["image", "conv1.w", "conv1.b"], ["1"], "conv1", kernel_shape=[3, 3],
                    pads=[1, 1, 1, 1]),
          make_node("BatchNormalization", ["1", "bn1.scale", "bn1.b", "bn1.mean", "bn1.var"], ["2"],
                    "bn1"),
          make_node("Relu", ["2"], ["3"], "relu 1"),
          make_node("MaxPool", ["3"], ["4"], "pool1", kernel_shape=[2, 2], strides=[2, 2]),
          make_node("Conv", ["4", "conv2.w", "conv2.b"], ["5"], "conv2", kernel_shape=[1, 1]),
          make_node("Flatten", ["5"], ["6"], "flatten1"),
          make_node("Gemm", ["6", "fc1.w", "fc1.b"], ["scores"], "fc1", transB=1)],
         {"image": [1, 3, 6, 6]}, {"scores": [1, 10]},
         {name: precision(w) if layer and name.startswith(layer + ".") else w
          for name, w in small.items()})

shape = [1, 2, 3, 4]
save("two-inputs",
     [make_node("Sub", ["left", "right"], ["difference"], "sub1"),
      make_node("Relu", ["difference"], ["positive"], "relu1"),
      make_node("Neg", ["difference"], ["negative"], "neg1")],
     {"left": shape, "right": shape}, {"positive": shape, "negative": shape}, {})

shape = [1, 3, "height", "width"]
save("open-size", [make_node("Relu", ["image"], ["positive"], "relu1")], {"image": shape},
     {"positive": shape}, {})

# 5 x 5 values become 24,001 x 24,001, more than a blob may have.
save("large-blob",
     [make_node("ConvTranspose", ["image", "w"], ["large"], "up", kernel_shape=[1, 1],
                strides=[6000, 6000])],
     {"image": [1, 1, "height", "width"]}, {"large": [1, 1, "rows", "columns"]},
     {"w": np.ones((1, 1, 1, 1), np.float32)})

# Constants as first and as second operand; OpenCV makes the two at different times. The second one also
# serves a division, whose constant OpenCV turns into its reciprocal.
random = np.random.RandomState(2)
first, second = (random.uniform(1, 2, (1, 3, size, size)).astype(np.float32) for size in (6, 1))
for name, values in [("constants", first), ("constants-first-bf16", bf16(first))]:
    save(name,
         [make_node("Sub", ["first", "image"], ["1"], "sub1"),
          make_node("Mul", ["1", "second"], ["2"], "mul1"),
          make_node("Div", ["2", "second"], ["scores"], "div1")],
         {"image": [1, 3, 6, 6]}, {"scores": [1, 3, 6, 6]}, {"first": values, "second": second})

# Recurrent layers, of which the second one gives only its last state.
random = np.random.RandomState(4)
save("recurrent",
     [make_node("LSTM", ["image", "w1", "r1", "b1"], ["1"], "lstm1", hidden_size=4),
      make_node("Squeeze", ["1"], ["2"], "squeeze1", axes=[1]),
      make_node("LSTM", ["2", "w2", "r2", "b2"], ["", "state"], "lstm2", hidden_size=4),
      make_node("Relu", ["state"], ["scores"], "relu1")],
     {"image": [5, 1, 3]}, {"scores": [1, 1, 4]},
     {name: draw(random, *shape)
      for name, shape in [("w1", (1, 16, 3)), ("r1", (1, 16, 4)), ("b1", (1, 32)),
                          ("w2", (1, 16, 4)), ("r2", (1, 16, 4)), ("b2", (1, 32))]})
