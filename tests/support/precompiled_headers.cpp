// Carries the precompiled headers that the test programs share; it has no code of its own.
