// The shared library's own translation unit: its code comes whole from the internal library,
// and the version script lets only the exported C functions through.
