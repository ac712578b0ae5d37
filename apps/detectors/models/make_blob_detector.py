#!/usr/bin/python3
"""Writes the ONNX network that finds saturated red, green and blue figures, weights set by hand.

usage: make_blob_detector.py OUT.onnx [--trunk CHANNELS]

Needs Debian's python3-onnx. The tool is built from blob_detector.onnx beside this script; run it only
to change that file. --trunk puts three 3x3 convolutions of that many channels in front, which carry the
picture through unchanged beside channels that nobody reads: the same boxes for more work (16 channels
make about 1 GFLOP), for measurements.

Input   images  1 x 3 x 256 x 256: red, green, blue from 0 to 1.
Output  boxes   1 x 4096 x 8: centre x, centre y, width, height in input pixels, objectness, and the
                scores of red, green, blue. One row for each cell of 4 x 4 pixels, row by row.

How it works. A 1x1 convolution takes from each colour the two others, so that grey, white, skin and all
mixtures come out below 0; clipped to 0..1 it is a mask for each class, and averaged over a cell the
cell's coverage. From each covered cell four runs go left, right, up and down until the mask ends:

    run(x) = m(x) + m(x) m(x+1) + m(x) m(x+1) m(x+2) + ...

A cell that the figure covers in part ends the run by its fraction, which makes boxes finer than cells.
Runs double in length at each step, with P(x) the product and S(x) the sum over n cells:

    P2n(x) = Pn(x) Pn(x+n)        S2n(x) = Sn(x) + Pn(x) Sn(x+n)

"x+n" is a depthwise convolution whose only weight lies n cells off (dilation n), so five steps see 32
cells each way. Left and right run give a box's width and centre, up and down its height. A cell in the
middle of its figure has equal runs on both sides: objectness falls from 1 as they differ by more than a
cell, so that non-maximum suppression keeps the middle, whose runs are the longest of a round figure. It
is 0 for runs of 8 pixels and less, which are specks.
"""
import argparse

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

SIDE, CELL, CLASSES = 256, 4, 3
CELLS = SIDE // CELL
DOUBLINGS = 5
# A colour counts as saturated where it exceeds the sum of both others by GAP, and fully from
# GAP + 1 / GAIN on. Paint at 80 % with 15 % of the others exceeds them by 0.5.
GAP, GAIN = 0.15, 8.0
# The last in which Clip has its bounds as attributes, the only form that OpenCV 4.6 reads.
OPSET = 10
# How fast objectness falls with the share of a box's width or height by which two runs differ.
STEEP = 2
# Keeps the quotient of two runs of length 0 from being no number.
TINY = 1e-3


class Net:
    def __init__(self):
        self.nodes, self.weights = [], []

    def constant(self, name, values):
        self.weights.append(numpy_helper.from_array(np.ascontiguousarray(values), name))
        return name

    def add(self, kind, inputs, output, **attributes):
        self.nodes.append(helper.make_node(kind, inputs, [output], name=output, **attributes))
        return output

    def conv(self, source, output, weights, bias=None, **attributes):
        weights = np.asarray(weights, np.float32)
        if weights.ndim == 2:
            weights = weights[:, :, None, None]
        inputs = [source, self.constant(output + ".weight", weights)]
        if bias is not None:
            inputs.append(self.constant(output + ".bias", np.asarray(bias, np.float32)))
        return self.add("Conv", inputs, output, kernel_shape=weights.shape[2:], **attributes)

    def clip(self, source, output):
        return self.add("Clip", [source], output, min=0.0, max=1.0)


def trunk(net, source, channels):
    """Three wide convolutions; the first three channels are the picture all the way."""
    random = np.random.default_rng(1)
    had = 3
    for number in range(4):
        weights = random.normal(0, 0.02, (channels, had, 3, 3))
        weights[:3] = 0
        weights[range(3), range(3), 1, 1] = 1
        source = net.conv(source, f"trunk{number}", weights, pads=[1, 1, 1, 1])
        source = net.add("Relu", [source], f"trunk{number}.relu")
        had = channels
    return source, had


def runs(net, mask, name, vertical):
    """Six channels: the runs of each class backward along the axis, then forward."""
    both = np.vstack([np.eye(CLASSES), np.eye(CLASSES)])
    product = length = net.conv(mask, f"{name}.run1", both)
    for step in range(DOUBLINGS):
        reach = 2**step
        weights = np.zeros((2 * CLASSES, 1, 3, 1) if vertical else (2 * CLASSES, 1, 1, 3))
        flat = weights.reshape(2 * CLASSES, 3)
        flat[:CLASSES, 0] = 1
        flat[CLASSES:, 2] = 1
        shift = dict(
            group=2 * CLASSES,
            dilations=[reach, 1] if vertical else [1, reach],
            pads=[reach, 0, reach, 0] if vertical else [0, reach, 0, reach],
        )
        new = f"{name}.run{2 * reach}"
        far = net.conv(length, f"{new}.far", weights, **shift)
        far = net.add("Mul", [product, far], f"{new}.reached")
        longer = net.add("Add", [length, far], new)
        if step + 1 < DOUBLINGS:
            far = net.conv(product, f"{new}.far_product", weights, **shift)
            product = net.add("Mul", [product, far], f"{new}.product")
        length = longer
    return length


def detector(trunk_channels):
    net = Net()
    picture, channels = "images", 3
    if trunk_channels:
        picture, channels = trunk(net, picture, trunk_channels)
    colour = np.zeros((CLASSES, channels))
    colour[:, :3] = GAIN * (2 * np.eye(CLASSES) - 1)
    saturation = net.conv(picture, "saturation", colour, [-GAIN * GAP] * CLASSES)
    mask = net.clip(saturation, "mask")
    mask = net.add("AveragePool", [mask], "coverage", kernel_shape=[CELL, CELL], strides=[CELL, CELL])

    across, down = runs(net, mask, "across", False), runs(net, mask, "down", True)
    all_runs = net.add("Concat", [across, down, mask], "runs", axis=1)

    # Rows over the 15 channels: left, right, up, down and covered, each summed over the classes, of
    # which a cell has at most one.
    left, right, up, below, covered = np.kron(np.eye(5), np.ones(CLASSES))
    width, height = left + right - covered, up + below - covered  # both runs count the cell itself
    size = net.conv(all_runs, "size", CELL * np.array([width, height]))
    offset = net.conv(all_runs, "offset", CELL / 2 * np.array([right - left, below - up]))
    middle = CELL * (np.arange(CELLS, dtype=np.float32) + 0.5)
    grid = np.stack(np.meshgrid(middle, middle))[None]
    centre = net.add("Add", [offset, net.constant("grid", grid)], "centre")

    uneven = net.conv(all_runs, "uneven", [right - left, left - right, below - up, up - below], [-1] * 4)
    uneven = net.add("Relu", [uneven], "uneven.part")
    total = net.conv(all_runs, "total", [left + right, left + right, up + below, up + below], [TINY] * 4)
    uneven = net.add("Div", [uneven, total], "uneven.share")
    small = net.conv(all_runs, "small", [-width / 2, -height / 2], [2, 2])
    small = net.add("Relu", [small], "small.part")
    faults = net.add("Concat", [uneven, small, mask], "faults", axis=1)
    objectness = net.conv(faults, "objectness", [[-STEEP] * 4 + [-1] * 2 + [1] * CLASSES])
    objectness = net.clip(objectness, "objectness.clipped")

    table = net.add("Concat", [centre, size, objectness, mask], "table", axis=1)
    shape = net.constant("table.shape", np.array([1, 5 + CLASSES, CELLS * CELLS], np.int64))
    table = net.add("Reshape", [table, shape], "table.columns")
    net.add("Transpose", [table], "boxes", perm=[0, 2, 1])

    graph = helper.make_graph(
        net.nodes,
        "blob_detector",
        [helper.make_tensor_value_info("images", TensorProto.FLOAT, [1, 3, SIDE, SIDE])],
        [helper.make_tensor_value_info("boxes", TensorProto.FLOAT, [1, CELLS * CELLS, 5 + CLASSES])],
        net.weights,
    )
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", OPSET)], producer_name="tn_kits")
    model.ir_version = 5  # of that opset's time
    onnx.checker.check_model(model)
    return model


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("out")
    parser.add_argument("--trunk", type=int, default=0, metavar="CHANNELS")
    options = parser.parse_args()
    onnx.save(detector(options.trunk), options.out)


if __name__ == "__main__":
    main()
