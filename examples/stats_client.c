/*
 * A client that reads counters: registers, asks for the counters of the route that first_client
 * sends, clears them, and deregisters. It waits for both answers and prints what is in them.
 *
 *     gcc -m32 stats_client.c $(pkg-config --cflags --libs vell vell-sim) -o stats_client
 *     vellsim run --detach
 *     ./first_client          # built in the same way
 *     vellsim count --source 10.0.0.9 --group 239.1.1.1 --packets 100 --bytes 6400
 *     ./stats_client
 */
#define _POSIX_C_SOURCE 199309L /* clock_gettime */

#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <inttypes.h>
#include <protocol.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <vell_sim.h>

enum { client_uuid = 504, answer_timeout_ms = 5000, table_id = 253 };

/* 10.0.0.9 and 239.1.1.1, in host byte order. */
static const uint32_t source = 0x0a000009;
static const uint32_t group = 0xef010101;

static int fail(const char *why) {
    fprintf(stderr, "stats_client: %s\n", why);
    return 0;
}

/* Registers and waits for the service's answer, which arrives on the queue. */
static int register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "stats_client"))
        return fail("the registration could not be sent; is the simulator running (vellsim run)?");
    if (kyt_sim_receive(queue, answer_timeout_ms, &message) != 1)
        return fail("the service did not answer the registration, or went away");
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message);
    kyt_sim_message_free(message);
    return accepted ? 1 : fail("the service gave no client id; vellsim show log says why");
}

static int64_t now_ms(void) {
    struct timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* The service defines its answers; vell_sim.h describes the simulator's. One has the opcode of its
 * request and repeats which route was asked for. */
static int is_answer(const kyt_sim_message *message, uint32_t opcode,
                     struct vell_sim_stats *counters) {
    return kyt_sim_message_opcode(message) == opcode &&
           vell_sim_stats_answer(message, counters) == VELL_SIM_READ && counters->family == 4 &&
           counters->table == table_id && counters->source_length == 32 &&
           counters->group_length == 32 && memcmp(counters->source, &source, 4) == 0 &&
           memcmp(counters->group, &group, 4) == 0;
}

/* Waits for the answer to a request, and skips other messages: an earlier answer may come again. */
static int await_answer(uint32_t queue, uint32_t opcode, struct vell_sim_stats *counters) {
    const int64_t deadline = now_ms() + answer_timeout_ms;
    int64_t left = answer_timeout_ms;
    kyt_sim_message *message = NULL;

    while (left > 0 && kyt_sim_receive(queue, (int)left, &message) == 1) {
        const int found = is_answer(message, opcode, counters);
        kyt_sim_message_free(message);
        if (found)
            return 1;
        left = deadline - now_ms();
    }
    return fail("the request was not answered");
}

/* With 1 instead of 0 as its last argument, the request asks for the counters and clears them. */
static int read_counters(uint32_t queue) {
    struct vell_sim_stats counters;

    if (!vell_send_v4_mroute_stats_req(table_id, source, 32, group, 32, 0))
        return fail("the request could not be sent");
    if (!await_answer(queue, VELL_SIM_OPCODE_IPV4_STATS, &counters))
        return 0;
    if (counters.status != VELL_SIM_ROUTE_FOUND)
        return fail("the service has no such route; first_client sends it");
    printf("%" PRIu64 " packets, %" PRIu64 " bytes, %" PRIu64 " RPF failures\n", counters.packets,
           counters.bytes, counters.wrong_if);
    return 1;
}

static int clear_counters(uint32_t queue) {
    struct vell_sim_stats counters;

    if (!vell_send_v4_mroute_clear_req(table_id, source, 32, group, 32))
        return fail("the request could not be sent");
    if (!await_answer(queue, VELL_SIM_OPCODE_IPV4_CLEAR, &counters))
        return 0;
    if (!counters.cleared)
        return fail("the counters were not cleared");
    printf("cleared after %" PRIu64 " packets\n", counters.packets);
    return 1;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    int done = 0;

    if (register_client(queue)) {
        done = read_counters(queue) && clear_counters(queue);
        if (!vell_deregister())
            done = fail("the deregistration could not be sent");
    }
    kyt_sim_queue_close(queue);
    return done ? 0 : 1;
}
