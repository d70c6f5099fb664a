/* The manager's answers are read through a C interface: this file holds a C compiler against it. */
#include <nerb_desk.h>

const char *nerb_desk_first_status_in_c(const void *rsp);

const char *nerb_desk_first_status_in_c(const void *rsp) {
    struct nerb_desk_answer head;
    uint32_t words[4];
    if (nerb_desk_answer_head(rsp, &head) != NERB_DESK_READ ||
        nerb_desk_answer_entry(rsp, 0, words) != NERB_DESK_READ)
        return "none";
    return nerb_desk_status_name(words[3]);
}
