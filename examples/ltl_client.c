/*
 * A client that uses an LTL index: registers, requests an index for three ports, changes its ports,
 * releases it, and deregisters. It waits for every answer of the LTL manager and reads it.
 *
 *     gcc -m32 ltl_client.c $(pkg-config --cflags --libs vell vell-sim) -o ltl_client
 *     vellsim run --detach
 *     ./ltl_client
 */
#define _POSIX_C_SOURCE 199309L /* clock_gettime */

#include <kyt.h>
#include <kyt_sim.h>
#include <nerb_sim.h>
#include <vell.h>

#include <stdio.h>
#include <time.h>
#include <vell_sim.h>

enum { client_uuid = 503, answer_timeout_ms = 5000, ltl_vlan = 10, ltl_tag = 7 };

/* The platform defines the format of interface indexes; these are the simulator's, described in
 * qarnutils_sim.h. */
enum { po1 = 0x18000001, eth3_7 = 0x68030700, eth3_8 = 0x68030800, eth4_1 = 0x68040100 };

/* How an answer is recognised is the manager's business. On the simulator it has the opcode and the
 * cookie of its request. A request that is sent again needs another cookie, so that a late answer
 * to the first one is not taken for an answer to the second one. */
typedef struct request {
    const char *name;
    uint32_t opcode;
    uint32_t cookie;
} request;
static const request allocation = {"LTL allocation", NERB_SIM_OPCODE_ALLOCATION, 1};
static const request modification = {"LTL modification", NERB_SIM_OPCODE_MODIFICATION, 2};
static const request release = {"LTL release", NERB_SIM_OPCODE_RELEASE, 3};

/* The two results that the library's functions read in an answer. The manager defines their
 * meaning; this is the simulator's. */
typedef struct ltl {
    uint32_t index;
    uint32_t n_ports; /* after the request */
} ltl;
typedef int ltl_reader(const void *rsp, uint32_t *result1, uint32_t *result2);

static int fail(const char *what, const char *why) {
    fprintf(stderr, "ltl_client: %s: %s\n", what, why);
    return 0;
}

/* Registers and waits for the service's answer, which arrives on the queue. */
static int register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "ltl_client"))
        return fail("registration", "not sent; is the simulator running (vellsim run)?");
    if (kyt_sim_receive(queue, answer_timeout_ms, &message) != 1)
        return fail("registration", "the service did not answer it, or went away");
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message);
    kyt_sim_message_free(message);
    return accepted
               ? 1
               : fail("registration", "the service gave no client id; vellsim show log says why");
}

static int64_t now_ms(void) {
    struct timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

static int is_answer(const kyt_sim_message *message, const request *asked) {
    struct nerb_sim_answer head;

    return kyt_sim_message_opcode(message) == asked->opcode &&
           nerb_sim_answer_head(message, &head) == NERB_SIM_READ && head.cookie == asked->cookie;
}

/* Waits for the answer to a request; the caller must free it. Skips other messages: an earlier
 * answer may come again. Returns NULL when no answer comes. */
static kyt_sim_message *await_answer(uint32_t queue, const request *asked) {
    const int64_t deadline = now_ms() + answer_timeout_ms;
    int64_t left = answer_timeout_ms;
    kyt_sim_message *message = NULL;

    while (left > 0 && kyt_sim_receive(queue, (int)left, &message) == 1) {
        if (is_answer(message, asked))
            return message;
        printf("%s: skipped a message of opcode %u, which is not an answer to it\n", asked->name,
               (unsigned)kyt_sim_message_opcode(message));
        kyt_sim_message_free(message);
        left = deadline - now_ms();
    }
    fail(asked->name, "it was not answered; it may have been carried out all the same");
    return NULL;
}

/* Why the one entry of an answer was refused, as a text. The library reads only whether it was. */
static const char *refusal(const kyt_sim_message *answer) {
    uint32_t words[4];

    return nerb_sim_answer_entry(answer, 0, words) == NERB_SIM_READ && words[3] != NERB_SIM_DONE
               ? nerb_sim_status_name(words[3])
               : "it failed, or its answer could not be read; vellsim show log says why";
}

static int take_answer(uint32_t queue, const request *asked, ltl_reader *read, ltl *result) {
    kyt_sim_message *answer = await_answer(queue, asked);
    int done = 0;

    if (answer == NULL)
        return 0;
    done = read(answer, &result->index, &result->n_ports) || fail(asked->name, refusal(answer));
    kyt_sim_message_free(answer);
    if (done)
        printf("%s: done, LTL 0x%x has %u ports\n", asked->name, (unsigned)result->index,
               (unsigned)result->n_ports);
    return done;
}

/* Stores the index of the new LTL. */
static int allocate_ltl(uint32_t queue, uint32_t *index) {
    static const uint32_t ports[] = {po1, eth3_7, eth3_8};
    ltl result;

    if (!vell_nerb_l2_ltl_alloc(ltl_vlan, 3, ports, ltl_tag, allocation.cookie))
        return fail(allocation.name, "it could not be sent");
    if (!take_answer(queue, &allocation, vell_nerb_handle_l2_alloc_response, &result))
        return 0;
    *index = result.index;
    return 1;
}

static int change_ltl(uint32_t queue, uint32_t index) {
    static const uint32_t ports[] = {eth3_7, eth4_1}; /* they replace the present ones */
    ltl result;

    if (!vell_nerb_l2_ltl_modify(index, 2, ports, ltl_tag, modification.cookie))
        return fail(modification.name, "it could not be sent");
    return take_answer(queue, &modification, vell_nerb_handle_l2_response, &result);
}

static int release_ltl(uint32_t queue, uint32_t index) {
    ltl result;

    if (!vell_nerb_l2_ltl_dealloc(index, ltl_tag, release.cookie))
        return fail(release.name, "it could not be sent");
    return take_answer(queue, &release, vell_nerb_handle_l2_response, &result);
}

/* On the simulator an LTL index outlives its client, so it is released even when changing it
 * failed. */
static int use_ltl(uint32_t queue) {
    uint32_t index = 0;
    int changed = 0;

    if (!allocate_ltl(queue, &index))
        return 0;
    changed = change_ltl(queue, index);
    return release_ltl(queue, index) && changed;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    int done = 0;

    if (register_client(queue)) {
        done = use_ltl(queue);
        if (!vell_deregister())
            done = fail("deregistration", "it could not be sent");
    }
    kyt_sim_queue_close(queue);
    return done ? 0 : 1;
}
