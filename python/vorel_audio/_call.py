"""Array conversion, argument validation, axis handling and status handling shared by the wrappers."""
import ctypes

import numpy as np

from . import _library

INT_MAX = 2**31 - 1

_STATUS_OUT_OF_MEMORY = -5
_STATUS_INVALID_ARGUMENT = -1


def call(name, *args, shown=None):
    """Calls an exported function and turns a failing status into a Python exception."""
    status = getattr(_library.lib(), name)(*args)
    if status == 0:
        return
    described = f"{name}({shown if shown is not None else ''})"
    if status == _STATUS_INVALID_ARGUMENT:
        raise ValueError(f"{described} refused its arguments")
    if status == _STATUS_OUT_OF_MEMORY:
        raise MemoryError(f"{described} ran out of memory")
    raise RuntimeError(f"{described} failed with status {status}")


def fptr(array):
    return array.ctypes.data_as(ctypes.POINTER(ctypes.c_float))


def numeric(x, name, allow_complex):
    """x as an array; non-numeric data is a TypeError, as numpy's own functions raise it."""
    a = np.asarray(x)
    if a.dtype == object or not (np.issubdtype(a.dtype, np.number) or a.dtype == np.bool_):
        raise TypeError(f"{name} must be a numeric array, got dtype {a.dtype}")
    if not allow_complex and np.iscomplexobj(a):
        raise TypeError(f"{name} must be real, got complex dtype {a.dtype}")
    return a


def check_ndim(a, name, min_ndim):
    if a.ndim < min_ndim:
        raise ValueError(f"{name} must have at least {min_ndim} dimension(s), got shape {a.shape}")


def real_array(x, name="x", min_ndim=1):
    """Contiguous float32 copy (or view) of real input."""
    a = numeric(x, name, allow_complex=False)
    check_ndim(a, name, min_ndim)
    return np.ascontiguousarray(a, dtype=np.float32)


def complex_array(x, name="x", min_ndim=1):
    """Interleaved float32 view of complex input: shape (..., n) complex -> (..., n, 2) float."""
    a = numeric(x, name, allow_complex=True)
    check_ndim(a, name, min_ndim)
    c = np.ascontiguousarray(a, dtype=np.complex64)
    return c.view(np.float32).reshape(c.shape + (2,))


def output_array(out, shape, dtype=np.float32, inputs=(), name="out"):
    """The caller's output array, checked, or a new one of that shape.

    A given array must be a writeable C-contiguous array of exactly that shape and dtype (nothing is
    converted, so the results land where the caller asked); it may be the very buffer of an input it
    replaces element by element, but not overlap an input any other way."""
    if out is None:
        return np.empty(shape, dtype=dtype)
    if not isinstance(out, np.ndarray):
        raise ValueError(f"{name} must be a numpy array, got {type(out).__name__}")
    if out.dtype != dtype or out.shape != tuple(shape):
        raise ValueError(f"{name} must be a {np.dtype(dtype).name} array of shape {tuple(shape)}, "
                         f"got {out.dtype} {out.shape}")
    if not out.flags.c_contiguous or not out.flags.writeable:
        raise ValueError(f"{name} must be a writeable C-contiguous array")
    for a in inputs:
        same = a.__array_interface__["data"][0] == out.__array_interface__["data"][0] and a.nbytes == out.nbytes
        if not same and np.shares_memory(a, out):
            raise ValueError(f"{name} overlaps an input other than element for element")
    return out


def as_complex(interleaved):
    """(..., 2) float32 array -> complex64 array of the leading shape."""
    return np.ascontiguousarray(interleaved, dtype=np.float32).view(np.complex64)[..., 0]


def count(value, name, minimum=1):
    """A count argument as a C int, refused with ValueError outside [minimum, INT_MAX]."""
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, (int, np.integer)):
        raise ValueError(f"{name} must be an integer, got {value!r}")
    v = int(value)
    if v < minimum or v > INT_MAX:
        raise ValueError(f"{name} must be between {minimum} and {INT_MAX}, got {v}")
    return v


def real_number(value, name):
    try:
        v = float(value)
    except (TypeError, ValueError):
        raise ValueError(f"{name} must be a real number, got {value!r}") from None
    return v


def option(value, table, name):
    """Maps a string option (or one of its integer values) to the library's integer value."""
    if isinstance(value, str):
        key = value.lower()
        if key in table:
            return table[key]
    elif value is None and None in table:
        return table[None]
    elif isinstance(value, (int, np.integer)) and not isinstance(value, bool):
        if int(value) in set(v for v in table.values()):
            return int(value)
    choices = ", ".join(repr(k) for k in table if k is not None)
    raise ValueError(f"unknown {name} {value!r}; expected one of {choices}")


def axis_index(axis, ndim, name="axis"):
    """A signal axis normalised to [0, ndim), refused with ValueError (numpy's AxisError) outside."""
    if isinstance(axis, (bool, np.bool_)) or not isinstance(axis, (int, np.integer)):
        raise ValueError(f"{name} must be an integer, got {axis!r}")
    if not -ndim <= axis < ndim:
        raise np.AxisError(int(axis), ndim)
    return int(axis) % ndim


def to_last(a, axis, core_ndim=1):
    """Moves the core_ndim axes starting at axis (counted on a signal of a.ndim - core_ndim + 1
    dimensions) to the end; returns the moved array and the axis as a non-negative index."""
    ax = axis_index(axis, a.ndim - core_ndim + 1)
    if core_ndim == 1:
        return np.moveaxis(a, ax, -1), ax
    return np.moveaxis(a, list(range(ax, ax + core_ndim)), list(range(-core_ndim, 0))), ax


def from_last(result, ax, core_ndim):
    """Puts the trailing core_ndim axes of result back at position ax, as the input's axis was."""
    if core_ndim == 1:
        return np.moveaxis(result, -1, ax)
    return np.moveaxis(result, list(range(-core_ndim, 0)), list(range(ax, ax + core_ndim)))


def signal_along(x, axis, name="x"):
    """Real signals with their axis moved last, as contiguous float32: (array, axis index, length)."""
    moved, ax = to_last(real_array(x, name), axis)
    src = np.ascontiguousarray(moved)
    return src, ax, count(src.shape[-1], f"length of {name}")


def complex_along(X, axis, name="X", core_ndim=1):
    """Complex input with its core_ndim axes from axis on moved last, interleaved as (..., 2) float32
    (see complex_array), and the axis index."""
    c = numeric(X, name, allow_complex=True)
    check_ndim(c, name, core_ndim)
    moved, ax = to_last(c, axis, core_ndim)
    return complex_array(moved, name), ax


def per_item(array, core_ndim, out_shape, fn, zeroed=True):
    """Runs fn(item, out) on every item of the trailing core_ndim dimensions of a contiguous array.

    The float32 output is allocated once (zeroed, unless the caller says fn writes every float of
    it), with the leading (batch) shape in front of out_shape; fn receives contiguous views of the
    input and into the output, so nothing is copied or stacked per item.
    """
    lead = array.shape[:array.ndim - core_ndim]
    items = int(np.prod(lead, dtype=np.int64))
    out = (np.zeros if zeroed else np.empty)(lead + out_shape, dtype=np.float32)
    flat = array.reshape((items,) + array.shape[array.ndim - core_ndim:])
    flat_out = out.reshape((items,) + out_shape)
    for i in range(items):
        fn(flat[i], flat_out[i])
    return out
