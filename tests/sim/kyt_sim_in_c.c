/* The simulator's interface is a C interface: this file holds a C compiler against it. */
#include <kyt_sim.h>

size_t kyt_sim_counts_size_in_c(void);

size_t kyt_sim_counts_size_in_c(void) {
    return sizeof(kyt_sim_counts);
}
