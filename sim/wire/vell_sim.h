/*
 * What the simulated vell service answers, and how to read it: the answers to a registration and to
 * statistics and clear requests. Nothing else is answered by the service.
 *
 * An answer is a message on the queue that its request was sent from, as kyt_sim_receive hands it
 * out: it has the service access point and the opcode of its request. protocol.h lists both.
 * Answers come in the order of the requests, unless a fault mode of the switch delays or repeats
 * them, or leaves them out.
 *
 * The functions are in libkyt, where a client receives. They read and change nothing; vell.h's
 * vell_register_ack, which gives the library the answer to a registration, may read the same message
 * before or after them.
 */
#ifndef VELL_SIM_H
#define VELL_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct kyt_sim_message; /* kyt_sim.h */

/* What the functions below return. Unless it is VELL_SIM_READ, nothing was stored. */
enum vell_sim_read {
    VELL_SIM_READ = 0,
    VELL_SIM_NO_ANSWER = 1 /* the message is null, or not an answer of the kind that is asked for */
};

/* The answer to a registration, in the bytes of its payload. */
struct vell_sim_registration {
    uint8_t client_id; /* 1 to 255; 0 when it was refused */
    uint8_t accepted;  /* 1, or 0 when it was refused; `vellsim show log` says why */
};

int vell_sim_registration_answer(const struct kyt_sim_message *message,
                                 struct vell_sim_registration *answer);

enum vell_sim_stats_status {
    VELL_SIM_ROUTE_FOUND = 0,
    VELL_SIM_NO_SUCH_ROUTE = 1 /* it is not installed, and was never counted; the counters are 0 */
};

/* The answer to a statistics or clear request, in the bytes of its payload, in host byte order. The
 * first members repeat what was asked for. */
struct vell_sim_stats {
    uint32_t status; /* of enum vell_sim_stats_status */
    uint32_t table;
    uint8_t source_length; /* prefix lengths */
    uint8_t group_length;
    uint16_t family;    /* 4 or 6 */
    uint8_t source[16]; /* of an IPv4 route a uint32 in host byte order, and zeros */
    uint8_t group[16];
    uint32_t cleared; /* 1 when the counters were set to 0 after they were read */
    uint64_t packets;
    uint64_t bytes;
    uint64_t wrong_if; /* RPF failures */
};

int vell_sim_stats_answer(const struct kyt_sim_message *message, struct vell_sim_stats *answer);

#ifdef __cplusplus
}
#endif

#endif
