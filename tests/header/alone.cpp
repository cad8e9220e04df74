// The public header needs nothing before it, and may be included twice.
#include <vela_splitter.h>
