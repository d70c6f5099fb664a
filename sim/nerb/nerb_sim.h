/*
 * What the simulator's LTL manager answers, and how to read it.
 *
 * A request that libnerb has sent is answered by one message on the queue that it was sent from, as
 * kyt_sim_receive hands it out: its service access point is NERB_SIM_SAP, its opcode the
 * request's. A request that is malformed is not answered; the switch's service log says why. An
 * answer carries, of every entry of the request and in their order, four words. Which they are
 * depends on the answer's kind:
 *
 *   kind                          word 0      word 1           word 2                                 word 3
 *   NERB_SIM_KIND_ALLOCATION     key word 2  LTL index        its number of interfaces               status
 *   NERB_SIM_KIND_MODIFICATION   LTL index   key word 2       number of interfaces that it has now   status
 *   NERB_SIM_KIND_RELEASE        LTL index   key word 2       0                                      status
 *   NERB_SIM_KIND_FLOOD_UPDATE   VLAN id     interfaces added interfaces removed                     status
 *
 * Word 3 is one of enum nerb_sim_status. Key word 2 is the tag that the client chose for an LTL;
 * of an entry that was refused, an allocation's words 1 and 2 and a flood update's are 0.
 *
 * The answer as a whole has a status too: 0 when every entry's is 0. Otherwise it is, of a request
 * of exactly one entry that is not a flood update, that entry's own status, and of any other request
 * 1, which says no more than that the entries' have to be looked at.
 *
 * The functions below read answers of every kind and change nothing. Those of nerb.h read them too,
 * and return what enum nerb_sim_read says: nerb_parse_rsp_* all kinds but allocations,
 * nerb_parse_alloc_ltl_* allocations alone. Of an allocation nerb_parse_alloc_ltl_rsp_parm reads
 * the first entry only, its words 0 to 2; the other entries of a batched allocation are read
 * with nerb_sim_answer_entry.
 */
#ifndef NERB_SIM_H
#define NERB_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define NERB_SIM_SAP 230u

/* Of a request, and of the answer to it. */
enum nerb_sim_opcode {
    NERB_SIM_OPCODE_ALLOCATION = 90001,
    NERB_SIM_OPCODE_MODIFICATION = 90002,
    NERB_SIM_OPCODE_RELEASE = 90003,
    NERB_SIM_OPCODE_FLOOD_UPDATE = 90004
};

enum nerb_sim_kind {
    NERB_SIM_KIND_ALLOCATION = 13,
    NERB_SIM_KIND_MODIFICATION = 14,
    NERB_SIM_KIND_RELEASE = 15,
    NERB_SIM_KIND_FLOOD_UPDATE = 16
};

/* How an entry of a request ended. An entry that was refused has changed nothing. */
enum nerb_sim_status {
    NERB_SIM_DONE = 0,
    NERB_SIM_REFUSED_BY_FAULT_MODE = 1, /* vellsim run --ltl-refuse-vlan names the VLAN */
    NERB_SIM_NO_SUCH_LTL = 2,           /* no LTL of this index is allocated */
    NERB_SIM_POOL_EXHAUSTED = 3,        /* all LTL indexes are allocated */
    NERB_SIM_TAG_MISMATCH = 4,          /* the LTL was allocated with another key word 2 */
    NERB_SIM_INTERFACE_PRESENT = 5,     /* an interface was to be added that the flood set has */
    NERB_SIM_INTERFACE_ABSENT =
        6,                   /* an interface was to be removed that the flood set does not have */
    NERB_SIM_NO_VLAN_ID = 7, /* it is not 1 to 4094 */
    NERB_SIM_INTERFACE_TWICE = 8, /* a list, or a flood update, names an interface twice */
    NERB_SIM_NO_OPERATION =
        9, /* a flood update's operation is neither 1, which adds, nor 2, which removes */
    NERB_SIM_NO_ROOM = 10 /* the switch would hold more interfaces than its limit */
};

/* What libnerb's send functions return. Unless it is NERB_SIM_SENT, nothing was sent. */
enum nerb_sim_send {
    NERB_SIM_SENT = 0,
    NERB_SIM_NOT_SENT = 1, /* kyt_send failed */
    NERB_SIM_NULL_POINTER =
        2, /* the payload is null, or a list of interfaces whose count is not 0 */
    NERB_SIM_OUT_OF_MEMORY = 3
};

/* What the functions that read an answer return. Unless it is NERB_SIM_READ, nothing was
 * stored. */
enum nerb_sim_read {
    NERB_SIM_READ = 0,
    NERB_SIM_NO_ANSWER =
        1, /* it is null, not a message of the manager, or of a kind that the function does not read */
    NERB_SIM_NOT_SO_MANY = 2 /* it has fewer entries than were asked for */
};

/* A status in words: "the pool is exhausted". Never null: "unknown" for any other
 * number. */
const char *nerb_sim_status_name(uint32_t status);

/* What an answer begins with. */
struct nerb_sim_answer {
    uint32_t kind;        /* of enum nerb_sim_kind */
    uint32_t status;      /* of the answer as a whole */
    uint32_t cookie;      /* the request's; of a flood update its context, a pointer's value */
    uint32_t entry_count; /* as many as the request had */
};

/* Reads what an answer begins with. `rsp` is the message as it was received. */
int nerb_sim_answer_head(const void *rsp, struct nerb_sim_answer *head);

/* Reads the words of one entry; `number` counts from 0. */
int nerb_sim_answer_entry(const void *rsp, uint32_t number, uint32_t words[4]);

#ifdef __cplusplus
}
#endif

#endif
