// Only its precompiled headers are used.
