/*
 * The simulator transport's own side: what a client process needs around kyt_send, kyt_drop and
 * kyt_payload_get.
 *
 * On a switch a process opens its queues and receives its messages with the platform's own calls;
 * in the simulator, with these functions. A queue is one Unix stream connection to the
 * simulated switch, made by the first send and found under the run directory: the environment
 * variable VELLSIM_RUN_DIR, else $XDG_RUNTIME_DIR/vellsim, else /tmp/vellsim-<uid>; a directory
 * that is not this user's alone is refused. When the switch goes away, the send that finds out
 * returns -1 and the connection is dropped; the next send connects again. A switch that takes no
 * byte of a message for 5 seconds, or as many milliseconds as the environment variable
 * VELLSIM_SEND_TIMEOUT_MS says, counts as gone. Messages that arrived before can still be received.
 *
 * Why a call failed is said on stderr, once for each cause until a send succeeds again. So are message
 * references that were never dropped, by opcode and count, when their queue is closed and when the
 * process exits. Descriptors of libkyt are above 2, even where the process has closed those below.
 *
 * No function starts a thread or raises a signal; like libvell itself, they expect one thread at a
 * time. A queue belongs to the process that opened it: in a forked process it is refused, which opens
 * its own.
 */
#ifndef KYT_SIM_H
#define KYT_SIM_H

#include <kyt.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A received message; hand it to kyt_payload_get, and to kyt_sim_message_free when done. Any other
 * pointer is refused: as a message that has no payload and whose numbers are 0. */
typedef struct kyt_sim_message kyt_sim_message;

/* Opens a queue. Returns its handle, never 0, or 0 when the process has no handle left. */
uint32_t kyt_sim_queue_open(void);

/* Closes a queue and its connection. An unknown handle is ignored. */
void kyt_sim_queue_close(uint32_t queue);

/*
 * A descriptor for poll(), or -1 while the queue has no connection. It is readable when a message or
 * its beginning has arrived: receive with a timeout of 0 until there is none. Do not read from it or
 * close it. It changes when the queue connects again; after a send that returned -1, receive what
 * came before, and ask for the descriptor again once a send has succeeded.
 */
int kyt_sim_queue_fd(uint32_t queue);

/*
 * Waits up to timeout_ms milliseconds (negative: without a limit) for a message on the queue. Returns 1
 * with a message that the caller frees, 0 when none came in time, -1 when the queue has no
 * connection or lost it.
 */
int kyt_sim_receive(uint32_t queue, int timeout_ms, kyt_sim_message **message);

/* The service access point, the opcode and the payload length of a received message. */
uint32_t kyt_sim_message_sap(const kyt_sim_message *message);
uint32_t kyt_sim_message_opcode(const kyt_sim_message *message);
uint32_t kyt_sim_message_length(const kyt_sim_message *message);

/* Frees a received message. Null is ignored. */
void kyt_sim_message_free(kyt_sim_message *message);

/* How many messages this process has sent, how many references it still holds, and how many wrong
 * kyt_drop calls (not a reference, released before, or from another queue) it made. */
typedef struct kyt_sim_counts {
    uint64_t sent;
    uint64_t open_references;
    uint64_t wrong_drops;
} kyt_sim_counts;
void kyt_sim_get_counts(kyt_sim_counts *counts);

/*
 * Writes the run directory's path, NUL-terminated, into `path`. Returns 0, or -1 when it does not
 * fit. The directory is made (0700) by the switch, not by this call.
 */
int kyt_sim_run_dir(char *path, size_t size);

#ifdef __cplusplus
}
#endif

#endif
