/* The names of interfaces are a C interface: this file holds a C compiler against it. */
#include <qarnutils_desk.h>

int qarnutils_desk_name_in_c(uint32_t if_index, char *name);

int qarnutils_desk_name_in_c(uint32_t if_index, char *name) {
    return qarnutils_desk_if_name(if_index, name, QARNUTILS_DESK_NAME_SIZE);
}
