/*
 * A client of the LTL manager: registers, sends the flood sets of two VLANs, requests an LTL index
 * for three ports, changes its ports, releases it, and deregisters. It waits for every answer.
 *
 *     vellsim run --detach
 *     ltl_client && vellsim show flood
 *
 * The flood sets remain, and the simulator's manager does not add an interface twice: it refuses a
 * second run until the simulator is restarted.
 */
#define _POSIX_C_SOURCE 199309L /* clock_gettime */

#include <kyt.h>
#include <kyt_sim.h>
#include <nerb_sim.h>
#include <vell.h>

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum {
    client_uuid = 502,
    answer_timeout_ms = 5000,
    n_vlans = 2,
    most_entries = 3,
    ltl_vlan = 10,
    ltl_tag = 7
};

/* The platform defines the format of interface indexes; these are the simulator's, described in
 * qarnutils_sim.h. */
enum {
    vlan10 = 0x1400000a,
    po1 = 0x18000001,
    eth3_7 = 0x68030700,
    eth3_8 = 0x68030800,
    eth4_1 = 0x68040100
};

/* How an answer is recognised is the manager's business. On the simulator it has the opcode of its
 * request, and its cookie or context. nerb_sim.h describes the answers, and declares functions for
 * what the library does not read. */
typedef struct request {
    const char *name;
    uint32_t opcode;
} request;
static request allocation = {"LTL allocation", NERB_SIM_OPCODE_ALLOCATION};
static request modification = {"LTL modification", NERB_SIM_OPCODE_MODIFICATION};
static request release = {"LTL release", NERB_SIM_OPCODE_RELEASE};
static request flood_update = {"flood update", NERB_SIM_OPCODE_FLOOD_UPDATE};

/* An address is unique enough, since each request is sent once. A request that is sent again needs
 * another cookie, so that a late answer to the first is not taken for an answer to the second. */
static uint32_t cookie_of(const request *asked) {
    return (uint32_t)(uintptr_t)asked;
}

static int fail(const request *asked, const char *why) {
    fprintf(stderr, "ltl_client: %s: %s\n", asked->name, why);
    return 0;
}

/* Registers and waits for the service's answer, which arrives on the queue. Returns NULL, or a text
 * that says what failed. */
static const char *register_client(uint32_t queue) {
    kyt_sim_message *answer = NULL;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "ltl_client"))
        return "the registration could not be sent; is the simulator running (vellsim run)?";
    if (kyt_sim_receive(queue, answer_timeout_ms, &answer) != 1)
        return "the service did not answer the registration";
    accepted = vell_register_ack(answer);
    kyt_sim_message_free(answer);
    return accepted ? NULL : "the service gave no client id; vellsim show log says why";
}

static int64_t now_ms(void) {
    struct timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

static int is_answer(const kyt_sim_message *message, const request *asked) {
    struct nerb_sim_answer head;

    return kyt_sim_message_opcode(message) == asked->opcode &&
           nerb_sim_answer_head(message, &head) == NERB_SIM_READ && head.cookie == cookie_of(asked);
}

/* Why the first entry of an answer was refused, as a text. */
static const char *refusal(const kyt_sim_message *answer) {
    uint32_t words[4];

    return nerb_sim_answer_entry(answer, 0, words) == NERB_SIM_READ && words[3] != NERB_SIM_DONE
               ? nerb_sim_status_name(words[3])
               : "it failed, or its answer could not be read; vellsim show log says why";
}

/* Waits for the answer to a request; the caller must free it. Skips other messages: an earlier
 * answer may come again. Without an answer it prints why and returns NULL. */
static kyt_sim_message *await_answer(uint32_t queue, const request *asked) {
    const int64_t deadline = now_ms() + answer_timeout_ms;
    int64_t left = answer_timeout_ms;
    kyt_sim_message *message = NULL;
    int received = 0;

    while (left > 0 && (received = kyt_sim_receive(queue, (int)left, &message)) == 1) {
        if (is_answer(message, asked))
            return message;
        printf("%s: skipped a message of opcode %u, which is not an answer to it\n", asked->name,
               (unsigned)kyt_sim_message_opcode(message));
        kyt_sim_message_free(message);
        left = deadline - now_ms();
    }
    fail(asked, received == -1
                    ? "the simulator went away before it answered; it may have been carried out "
                      "all the same"
                    : "no answer came in time; it may have been carried out all the same");
    return NULL;
}

/* Fills a VLAN's record, in host byte order, and returns its size. Without entries the flood set is
 * empty. */
static uint32_t fill_vlan(uint8_t *at, uint32_t vlan, const vell_l2_oif *entries,
                          uint32_t n_entries) {
    vell_l2_vlan_record *record = (vell_l2_vlan_record *)at;
    vell_l2_oif *oifs = (vell_l2_oif *)(record + 1); /* inside VELL_L2_RECORD_BYTES */
    uint32_t i;

    record->vlan = vlan;
    record->count = n_entries;
    for (i = 0; i < n_entries; i++)
        oifs[i] = entries[i];
    return (uint32_t)(VELL_L2_RECORD_BYTES + n_entries * sizeof(vell_l2_oif));
}

/* Describes the VLANs twice, as they were and as they are. The library sends the difference. */
static int send_flood_update(void) {
    /* Frames are flooded to ports, not to the VLAN's own interface, so the library skips it because
     * of its flag. Here this works since its index is lower than those of the ports; the comment of
     * vell_find_oiflist_delta has the whole rule. */
    static const vell_l2_oif of_vlan_10[] = {
        {vell_l2_oif_if_index, VELL_L2_OIF_SVI, {0, 0}, {vlan10}},
        {vell_l2_oif_if_index, 0, {0, 0}, {po1}},
        {vell_l2_oif_if_index, 0, {0, 0}, {eth3_7}}};
    static const vell_l2_oif of_vlan_20[] = {{vell_l2_oif_if_index, 0, {0, 0}, {eth4_1}}};
    static uint8_t older[sizeof(vell_l2_message) + n_vlans * VELL_L2_RECORD_BYTES];
    static uint8_t newer[sizeof(older) + n_vlans * most_entries * sizeof(vell_l2_oif)];
    uint32_t old_length = sizeof(vell_l2_message);
    uint32_t new_length = sizeof(vell_l2_message);

    old_length += fill_vlan(older + old_length, 10, NULL, 0);
    old_length += fill_vlan(older + old_length, 20, NULL, 0);
    new_length += fill_vlan(newer + new_length, 10, of_vlan_10, 3);
    new_length += fill_vlan(newer + new_length, 20, of_vlan_20, 1);
    return vell_send_l2_mc_update_flood_ltl(older, old_length, n_vlans, newer, new_length, n_vlans,
                                            &flood_update) ||
           fail(&flood_update, "it could not be sent");
}

/* Prints the result for each VLAN. The message is in network byte order. */
static int read_flood_result(const uint8_t *result) {
    const vell_l2_message *head = (const vell_l2_message *)result;
    const vell_flood_result *vlans = (const vell_flood_result *)(head + 1);
    int n_done = 0;
    int i;

    for (i = 0; i < ntohs(head->count); i++) {
        const int done = (vlans[i].flags & VELL_FLOOD_ACKNOWLEDGED) != 0;
        printf("%s: VLAN %u: %s\n", flood_update.name, (unsigned)ntohl(vlans[i].vlan),
               done ? "done" : "refused");
        n_done += done;
    }
    return (n_done == n_vlans && ntohs(head->flags) == 1) ||
           fail(&flood_update, "not every VLAN's change was made; vellsim show log says why");
}

static int update_flood_sets(uint32_t queue) {
    kyt_sim_message *answer = NULL;
    uint8_t *result = NULL;
    int done = 0;

    if (!send_flood_update() || (answer = await_answer(queue, &flood_update)) == NULL)
        return 0;
    done = vell_handle_l2_mc_update_flood_ltl_resp(answer, &result)
               ? read_flood_result(result)
               : fail(&flood_update, "its answer could not be read; vellsim show log says why");
    kyt_sim_message_free(answer);
    free(result); /* allocated by the library; NULL when the answer could not be read */
    return done;
}

/* The two results that the library's functions read in an answer. The manager defines their
 * meaning; this is the simulator's. */
typedef struct ltl {
    uint32_t index;
    uint32_t n_ports; /* after the request */
} ltl;
typedef int ltl_reader(const void *rsp, uint32_t *result1, uint32_t *result2);

static int take_ltl_answer(uint32_t queue, const request *asked, ltl_reader *read, ltl *answered) {
    kyt_sim_message *answer = await_answer(queue, asked);
    int done = 0;

    if (answer == NULL)
        return 0;
    done = read(answer, &answered->index, &answered->n_ports) || fail(asked, refusal(answer));
    kyt_sim_message_free(answer);
    if (!done)
        return 0;
    printf("%s: done, LTL 0x%x has %u ports\n", asked->name, (unsigned)answered->index,
           (unsigned)answered->n_ports);
    return 1;
}

static int expect_ltl(const request *asked, const ltl *answered, uint32_t index, uint32_t n_ports) {
    return (answered->index == index && answered->n_ports == n_ports) ||
           fail(asked, "the answer has another LTL index or number of ports");
}

static int change_ltl(uint32_t queue, uint32_t index) {
    static const uint32_t ports[] = {eth3_7, eth4_1}; /* they replace the present ones */
    ltl answered;

    if (!vell_nerb_l2_ltl_modify(index, 2, ports, ltl_tag, cookie_of(&modification)))
        return fail(&modification, "it could not be sent");
    return take_ltl_answer(queue, &modification, vell_nerb_handle_l2_response, &answered) &&
           expect_ltl(&modification, &answered, index, 2);
}

static int release_ltl(uint32_t queue, uint32_t index) {
    ltl answered;

    if (!vell_nerb_l2_ltl_dealloc(index, ltl_tag, cookie_of(&release)))
        return fail(&release, "it could not be sent");
    return take_ltl_answer(queue, &release, vell_nerb_handle_l2_response, &answered) &&
           expect_ltl(&release, &answered, index, 0);
}

/* On the simulator an LTL index outlives its client, so it is released even when changing it
 * failed. */
static int use_ltl(uint32_t queue) {
    static const uint32_t ports[] = {po1, eth3_7, eth3_8};
    ltl allocated;
    int used = 0;

    if (!vell_nerb_l2_ltl_alloc(ltl_vlan, 3, ports, ltl_tag, cookie_of(&allocation)))
        return fail(&allocation, "it could not be sent");
    if (!take_ltl_answer(queue, &allocation, vell_nerb_handle_l2_alloc_response, &allocated))
        return 0;
    used = expect_ltl(&allocation, &allocated, allocated.index, 3) &&
           change_ltl(queue, allocated.index);
    return release_ltl(queue, allocated.index) && used;
}

static int work(uint32_t queue) {
    const int done = update_flood_sets(queue) && use_ltl(queue);

    if (vell_deregister()) {
        printf("deregistered\n");
        return done;
    }
    fprintf(stderr, "ltl_client: the deregistration could not be sent\n");
    return 0;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = register_client(queue);
    int done = 0;

    if (failure == NULL) {
        printf("registered\n");
        done = work(queue);
    } else {
        fprintf(stderr, "ltl_client: %s\n", failure);
    }
    kyt_sim_queue_close(queue);
    return done ? 0 : 1;
}
