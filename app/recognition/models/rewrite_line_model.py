#!/usr/bin/env python3
"""Rewrites the PP-OCRv4 text-line recogniser (a paddle2onnx export) into a graph that OpenCV 4.6's DNN module loads
and runs at any line width.

OpenCV imports shape arithmetic (Shape/Cast/Slice/Concat on shapes) poorly, broadcasts a 1-D Mul from the wrong
axis on [1, T, C] tensors and bakes the import-time shape into ReduceMean and Squeeze. The rewrite therefore
folds every shape computation into constants for a reference width, expresses the per-channel scaling and the
mean over channels as MatMuls, turns Squeeze into Reshape and finally frees the time axis of every Reshape target
again (-1), so one model serves every width.

Usage: rewrite_line_model.py INPUT.onnx OUTPUT.onnx
"""

import sys

import numpy as np
import onnx
from onnx import helper, numpy_helper, shape_inference

REFERENCE_WIDTH = 320
# Time steps at the reference width (the network downsamples the width by 8). It must not equal any other
# dimension of the attention tensors (1, 3, 8, 15, 120), or freeing it later would hit the wrong entries.
REFERENCE_STEPS = REFERENCE_WIDTH // 8


def numpy_dtype(elem_type):
    return onnx.mapping.TENSOR_TYPE_TO_NP_TYPE[elem_type]


def attribute(node, name, default=None):
    for a in node.attribute:
        if a.name == name:
            return helper.get_attribute_value(a)
    return default


def constants_of(graph):
    return {t.name: numpy_helper.to_array(t) for t in graph.initializer}


def inferred_shapes(model):
    inferred = shape_inference.infer_shapes(model)
    shapes = {}
    for value in list(inferred.graph.value_info) + list(inferred.graph.output) + list(inferred.graph.input):
        if not value.type.tensor_type.HasField("shape"):
            continue
        dims = value.type.tensor_type.shape.dim
        if all(d.HasField("dim_value") for d in dims):
            shapes[value.name] = [d.dim_value for d in dims]
    return shapes


def evaluate(node, inputs, shapes):
    """Evaluates a node whose inputs are all known; None when the operation is not one we fold."""
    op = node.op_type
    if op == "Shape":
        shape = shapes.get(node.input[0])
        return None if shape is None else np.array(shape, dtype=np.int64)
    if any(i is None for i in inputs):
        return None
    if op == "Cast":
        return inputs[0].astype(numpy_dtype(attribute(node, "to")))
    if op == "Gather":
        return np.take(inputs[0], inputs[1], axis=attribute(node, "axis", 0))
    if op == "Unsqueeze":
        result = inputs[0]
        for axis in sorted(attribute(node, "axes")):
            result = np.expand_dims(result, axis)
        return result
    if op == "Squeeze":
        axes = attribute(node, "axes")
        return np.squeeze(inputs[0], axis=tuple(axes) if axes else None)
    if op == "Concat":
        return np.concatenate(inputs, axis=attribute(node, "axis"))
    if op == "Slice":
        data = inputs[0]
        if len(inputs) > 1:
            starts, ends = inputs[1], inputs[2]
            axes = inputs[3] if len(inputs) > 3 else range(len(starts))
            steps = inputs[4] if len(inputs) > 4 else [1] * len(starts)
        else:
            starts, ends = attribute(node, "starts"), attribute(node, "ends")
            axes = attribute(node, "axes", list(range(len(starts))))
            steps = [1] * len(starts)
        index = [slice(None)] * data.ndim
        for s, e, a, st in zip(starts, ends, axes, steps):
            index[int(a)] = slice(int(s), int(min(e, np.iinfo(np.int64).max)), int(st))
        return data[tuple(index)]
    arithmetic = {"Add": np.add, "Sub": np.subtract, "Mul": np.multiply, "Div": None, "Equal": np.equal}
    if op in arithmetic:
        a, b = inputs
        if op == "Div":
            return (a // b).astype(a.dtype) if np.issubdtype(a.dtype, np.integer) else (a / b).astype(a.dtype)
        return arithmetic[op](a, b).astype(a.dtype) if op != "Equal" else np.equal(a, b)
    return None


def fold_constants(model):
    """Folds shape computations into initializers until nothing changes."""
    graph = model.graph
    for node in [n for n in graph.node if n.op_type == "Constant"]:
        tensor = numpy_helper.from_array(numpy_helper.to_array(attribute(node, "value")), node.output[0])
        graph.initializer.append(tensor)
        graph.node.remove(node)
    while True:
        shapes = inferred_shapes(model)
        known = constants_of(graph)
        folded = False
        for node in list(graph.node):
            if node.op_type not in ("Shape", "Cast", "Gather", "Unsqueeze", "Squeeze", "Concat", "Slice", "Add", "Sub",
                                    "Mul", "Div", "Equal"):
                continue
            if node.op_type != "Shape" and not all(i in known for i in node.input if i):
                continue
            value = evaluate(node, [known.get(i) for i in node.input if i], shapes)
            if value is None:
                continue
            graph.initializer.append(numpy_helper.from_array(np.asarray(value), node.output[0]))
            known[node.output[0]] = np.asarray(value)
            graph.node.remove(node)
            folded = True
        if not folded:
            return


def add_initializer(graph, name, value):
    graph.initializer.append(numpy_helper.from_array(value.astype(np.float32), name))
    return name


def rewrite_for_any_width(model):
    graph = model.graph
    shapes = inferred_shapes(model)
    known = constants_of(graph)
    counter = 0
    for index, node in enumerate(list(graph.node)):
        position = list(graph.node).index(node)
        if node.op_type == "Clip" and len(node.input) > 1:
            low = known.get(node.input[1]) if len(node.input) > 1 and node.input[1] else None
            high = known.get(node.input[2]) if len(node.input) > 2 and node.input[2] else None
            replacement = helper.make_node("Clip", [node.input[0]], list(node.output), name=node.name)
            if low is not None:
                replacement.attribute.append(helper.make_attribute("min", float(low)))
            if high is not None:
                replacement.attribute.append(helper.make_attribute("max", float(high)))
            graph.node.remove(node)
            graph.node.insert(position, replacement)
        elif node.op_type == "Mul":
            x, gamma = node.input
            if gamma not in known and x in known:
                x, gamma = gamma, x
            shape = shapes.get(x)
            if gamma in known and known[gamma].ndim == 1 and shape is not None and len(shape) == 3 \
                    and known[gamma].shape[0] == shape[2] and shape[2] > 1:
                counter += 1
                weight = add_initializer(graph, f"rewrite_diag_{counter}", np.diag(known[gamma]))
                replacement = helper.make_node("MatMul", [x, weight], list(node.output), name=node.name)
                graph.node.remove(node)
                graph.node.insert(position, replacement)
        elif node.op_type == "ReduceMean":
            shape = shapes.get(node.input[0])
            axes = attribute(node, "axes")
            if shape is not None and len(shape) == 3 and list(axes) in ([-1], [2]) and attribute(node, "keepdims", 1):
                counter += 1
                weight = add_initializer(graph, f"rewrite_mean_{counter}", np.full((shape[2], 1), 1.0 / shape[2]))
                replacement = helper.make_node("MatMul", [node.input[0], weight], list(node.output), name=node.name)
                graph.node.remove(node)
                graph.node.insert(position, replacement)
        elif node.op_type == "Squeeze":
            target = shapes.get(node.output[0])
            if target is not None:
                counter += 1
                name = f"rewrite_shape_{counter}"
                graph.initializer.append(numpy_helper.from_array(np.array(target, dtype=np.int64), name))
                replacement = helper.make_node("Reshape", [node.input[0], name], list(node.output), name=node.name)
                graph.node.remove(node)
                graph.node.insert(position, replacement)
    # Free the time axis of every Reshape target.
    initializers = {t.name: t for t in graph.initializer}
    for node in graph.node:
        if node.op_type == "Reshape" and node.input[1] in initializers:
            tensor = initializers[node.input[1]]
            target = numpy_helper.to_array(tensor).copy()
            if REFERENCE_STEPS in target:
                target[target == REFERENCE_STEPS] = -1
                tensor.CopyFrom(numpy_helper.from_array(target.astype(np.int64), tensor.name))


def fold_scaling(model):
    """Folds the constant scaling the export writes out as nodes of their own into the convolutions' weights.

    OpenCV merges a convolution with a following batch normalisation or scalar Mul/Add each time the network is set
    up for a new input shape, i.e. for every new line width, which cost about as much as reading a short line; and
    every node left is one more pass over the line's features. Three exact rewrites (up to float rounding):
    - a Conv whose only reader is a BatchNormalization or a Mul or Add by one number takes it into its weights;
    - a Div by one number whose only reader multiplies by another number becomes that one multiplication;
    - a Mul and an Add by one number each whose only reader is an unpadded 1x1 Conv are taken into that Conv.
    The hard-swish (x * clip(x + 3, 0, 6) / 6) stays as it is: written as x * HardSigmoid(x), OpenCV fuses it into
    the convolution before it, whose forward pass then takes longer than the separate nodes.
    """
    graph = model.graph
    initializers = {t.name: t for t in graph.initializer}
    outputs = {o.name for o in graph.output}
    serial = 0

    def const(name):
        return numpy_helper.to_array(initializers[name]) if name in initializers else None

    def put(value):
        nonlocal serial
        serial += 1
        tensor = numpy_helper.from_array(np.asarray(value, dtype=np.float32), f"rewrite_folded_{serial}")
        graph.initializer.append(tensor)
        initializers[tensor.name] = tensor
        return tensor.name

    def sole_reader(name):
        readers = [n for n in graph.node if name in n.input]
        return readers[0] if len(readers) == 1 and name not in outputs else None

    def number(node):
        """The node's constant operand when it holds one number, and the other operand."""
        for k, name in enumerate(node.input):
            value = const(name)
            if len(node.input) == 2 and value is not None and value.size == 1:
                return float(value.reshape(-1)[0]), node.input[1 - k]
        return None, None

    def weights(conv):
        w = const(conv.input[1]).astype(np.float64)
        b = const(conv.input[2]).astype(np.float64) if len(conv.input) > 2 else np.zeros(w.shape[0])
        return w, b

    def set_weights(conv, source, w, b, output):
        del conv.input[:]
        conv.input.extend([source, put(w), put(b)])
        conv.output[0] = output

    changed = True
    while changed:
        changed = False
        for conv in [n for n in graph.node if n.op_type == "Conv"]:
            reader = sole_reader(conv.output[0])
            if reader is None or const(conv.input[1]) is None:
                continue
            w, b = weights(conv)
            if reader.op_type == "BatchNormalization":
                gamma, beta, mean, variance = (const(i).astype(np.float64) for i in reader.input[1:5])
                factor = gamma / np.sqrt(variance + attribute(reader, "epsilon", 1e-5))
                w, b = w * factor[:, None, None, None], (b - mean) * factor + beta
            elif reader.op_type in ("Mul", "Add") and number(reader)[0] is not None:
                value = number(reader)[0]
                w, b = (w * value, b * value) if reader.op_type == "Mul" else (w, b + value)
            else:
                continue
            set_weights(conv, conv.input[0], w, b, reader.output[0])
            graph.node.remove(reader)
            changed = True

    for div in [n for n in graph.node if n.op_type == "Div"]:
        divisor = const(div.input[1])
        mul = sole_reader(div.output[0])
        if divisor is None or divisor.size != 1 or mul is None or mul.op_type != "Mul":
            continue
        factor, other = number(mul)
        if factor is None or other != div.output[0]:
            continue
        del mul.input[:]
        mul.input.extend([div.input[0], put([factor / float(divisor.reshape(-1)[0])])])
        graph.node.remove(div)

    changed = True
    while changed:
        changed = False
        for mul in [n for n in graph.node if n.op_type == "Mul"]:
            factor, source = number(mul)
            add = sole_reader(mul.output[0]) if factor is not None else None
            offset = number(add)[0] if add is not None and add.op_type == "Add" else None
            conv = sole_reader(add.output[0]) if offset is not None else None
            if conv is None or conv.op_type != "Conv" or conv.input[0] != add.output[0] or const(conv.input[1]) is None:
                continue
            w, b = weights(conv)
            if w.shape[2:] != (1, 1) or any(attribute(conv, "pads", [0])) or attribute(conv, "group", 1) != 1:
                continue
            set_weights(conv, source, w * factor, b + offset * w.sum(axis=(1, 2, 3)), conv.output[0])
            graph.node.remove(mul)
            graph.node.remove(add)
            changed = True


def drop_unused(model):
    graph = model.graph
    while True:
        used = {o.name for o in graph.output}
        for node in graph.node:
            used.update(node.input)
        dead = [n for n in graph.node if not any(o in used for o in n.output)]
        for node in dead:
            graph.node.remove(node)
        if not dead:
            break
    for tensor in [t for t in graph.initializer if t.name not in used]:
        graph.initializer.remove(tensor)
    del graph.value_info[:]


def main():
    source, target = sys.argv[1], sys.argv[2]
    model = onnx.load(source)
    graph_input = model.graph.input[0]
    for dim, value in zip(graph_input.type.tensor_type.shape.dim, (1, 3, 48, REFERENCE_WIDTH)):
        dim.ClearField("dim_param")
        dim.dim_value = value
    fold_constants(model)
    rewrite_for_any_width(model)
    drop_unused(model)
    fold_scaling(model)
    drop_unused(model)
    remaining = {n.op_type for n in model.graph.node} & {"Shape", "Cast", "Squeeze", "ReduceMean", "Constant"}
    if remaining:
        sys.exit(f"rewrite incomplete: {sorted(remaining)} left")
    onnx.checker.check_model(model)
    onnx.save(model, target)


if __name__ == "__main__":
    main()
