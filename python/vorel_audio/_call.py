"""Array conversion, argument validation and status handling shared by the wrappers."""
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


def real_array(x, name="x", min_ndim=1):
    """Contiguous float32 copy (or view) of real input; refuses complex and non-numeric data."""
    a = np.asarray(x)
    if a.dtype == object or not (np.issubdtype(a.dtype, np.number) or a.dtype == np.bool_):
        raise ValueError(f"{name} must be a real numeric array, got dtype {a.dtype}")
    if np.iscomplexobj(a):
        raise ValueError(f"{name} must be real, got complex dtype {a.dtype}")
    if a.ndim < min_ndim:
        raise ValueError(f"{name} must have at least {min_ndim} dimension(s), got shape {a.shape}")
    return np.ascontiguousarray(a, dtype=np.float32)


def complex_array(x, name="x", min_ndim=1):
    """Interleaved float32 view of complex input: shape (..., n) complex -> (..., n, 2) float."""
    a = np.asarray(x)
    if a.dtype == object or not np.issubdtype(a.dtype, np.number):
        raise ValueError(f"{name} must be a numeric array, got dtype {a.dtype}")
    if a.ndim < min_ndim:
        raise ValueError(f"{name} must have at least {min_ndim} dimension(s), got shape {a.shape}")
    c = np.ascontiguousarray(a, dtype=np.complex64)
    return c.view(np.float32).reshape(c.shape + (2,))


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


def per_item(array, core_ndim, fn):
    """Applies fn to every item of the trailing core_ndim dimensions and stacks the results.

    Leading dimensions (channels, batch) are processed one item at a time; results of fn
    may be arrays or tuples of arrays of a fixed shape.
    """
    lead = array.shape[:array.ndim - core_ndim]
    if not lead:
        return fn(array)
    flat = array.reshape((-1,) + array.shape[array.ndim - core_ndim:])
    results = [fn(item) for item in flat]
    if not results:
        raise ValueError("empty batch")
    if isinstance(results[0], tuple):
        return tuple(np.stack([r[i] for r in results]).reshape(lead + results[0][i].shape)
                     for i in range(len(results[0])))
    return np.stack(results).reshape(lead + results[0].shape)
