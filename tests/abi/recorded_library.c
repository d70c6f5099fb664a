/* A library with the symbols of the recorded interface, for a client to be linked with. */
#define FUNCTION(name)                                                                             \
    void name(void) {}
#define VARIABLE(name, size) char name[size];
#include "recorded_symbols.h"
