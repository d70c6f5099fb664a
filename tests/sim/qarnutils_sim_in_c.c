/* The names of interfaces are a C interface: this file holds a C compiler against it. */
#include <qarnutils_sim.h>

int qarnutils_sim_name_in_c(uint32_t if_index, char *name);

int qarnutils_sim_name_in_c(uint32_t if_index, char *name) {
    return qarnutils_sim_if_name(if_index, name, QARNUTILS_SIM_NAME_SIZE);
}
