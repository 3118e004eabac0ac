// Empty: a precompiled header belongs to files that are compiled with it.
