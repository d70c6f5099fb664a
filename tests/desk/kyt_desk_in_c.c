/* The desk's interface is a C interface: this file holds a C compiler against it. */
#include <kyt_desk.h>

size_t kyt_desk_counts_size_in_c(void);

size_t kyt_desk_counts_size_in_c(void) {
    return sizeof(kyt_desk_counts);
}
