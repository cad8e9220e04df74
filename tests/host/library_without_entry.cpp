// A shared library that loads, and is not a plug-in.
extern "C" int notTheEntry() { return 0; }
