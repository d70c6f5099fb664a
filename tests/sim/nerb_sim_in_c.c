/* The manager's answers are read through a C interface: this file holds a C compiler against it. */
#include <nerb_sim.h>

const char *nerb_sim_first_status_in_c(const void *rsp);

const char *nerb_sim_first_status_in_c(const void *rsp) {
    struct nerb_sim_answer head;
    uint32_t words[4];
    if (nerb_sim_answer_head(rsp, &head) != NERB_SIM_READ ||
        nerb_sim_answer_entry(rsp, 0, words) != NERB_SIM_READ)
        return "none";
    return nerb_sim_status_name(words[3]);
}
