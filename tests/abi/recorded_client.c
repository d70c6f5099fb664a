/*
 * Makes a client need every symbol of the recorded interface when it is loaded: the functions'
 * addresses, and copies of the variables, which have the recorded sizes.
 */
#define FUNCTION(name) void name(void);
#define VARIABLE(name, size) extern char name[size];
#include "recorded_symbols.h"
#undef FUNCTION
#undef VARIABLE

/* The dynamic linker writes the addresses of functions into a table that can be written, and
 * copies the variables that a constant table refers to. */
#define FUNCTION(name) name,
#define VARIABLE(name, size)
void (*recorded_functions[])(void) = {
#include "recorded_symbols.h"
};
#undef FUNCTION
#undef VARIABLE

#define FUNCTION(name)
#define VARIABLE(name, size) name,
const char *const recorded_variables[] = {
#include "recorded_symbols.h"
};
