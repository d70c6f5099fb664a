/*
 * A client that sends flood sets: registers, sends the sets of two VLANs, changes one of them, and
 * deregisters. It reads every answer of the LTL manager, including refused VLANs.
 *
 *     gcc -m32 flood_client.c $(pkg-config --cflags --libs vell vell-sim) -o flood_client
 *     vellsim run --detach
 *     ./flood_client && vellsim show flood
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
#include <vell_sim.h>

enum { client_uuid = 502, answer_timeout_ms = 5000, n_vlans = 2, most_ports = 2 };

/* The platform defines the format of interface indexes; these are the simulator's, described in
 * qarnutils_sim.h. */
enum { po1 = 0x18000001, eth3_7 = 0x68030700, eth3_8 = 0x68030800, eth4_1 = 0x68040100 };

/* Frames are flooded to ports, not to the VLAN's own interface: leave that out of the set. The
 * comment of vell_find_oiflist_delta says what happens to it otherwise. */
typedef struct flood_set {
    const uint32_t *ports;
    uint32_t n_ports;
} flood_set;

/* What the manager has, as far as it has acknowledged it, and what it should have. */
typedef struct flood_vlan {
    uint32_t id;
    const flood_set *installed;
    const flood_set *wanted;
} flood_vlan;

static int fail(const char *why) {
    fprintf(stderr, "flood_client: %s\n", why);
    return 0;
}

/* Registers and waits for the service's answer, which arrives on the queue. */
static int register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "flood_client"))
        return fail("the registration could not be sent; is the simulator running (vellsim run)?");
    if (kyt_sim_receive(queue, answer_timeout_ms, &message) != 1)
        return fail("the service did not answer the registration, or went away");
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message);
    kyt_sim_message_free(message);
    return accepted ? 1 : fail("the service gave no client id; vellsim show log says why");
}

/* Fills a VLAN's record, in host byte order, and returns its size. */
static uint32_t fill_vlan(uint8_t *at, uint32_t id, const flood_set *set) {
    vell_l2_vlan_record *record = (vell_l2_vlan_record *)at;
    vell_l2_oif *oifs = (vell_l2_oif *)(record + 1); /* inside VELL_L2_RECORD_BYTES */
    uint32_t i;

    record->vlan = id;
    record->count = set->n_ports;
    for (i = 0; i < set->n_ports; i++) {
        oifs[i].kind = vell_l2_oif_if_index;
        oifs[i].value.if_index = set->ports[i];
    }
    return (uint32_t)(VELL_L2_RECORD_BYTES + set->n_ports * sizeof(vell_l2_oif));
}

/* Describes the VLANs twice, as they are and as they should be. The library sends the difference.
 * The simulator's answer repeats the context, so a number serves to recognise it. */
static int send_flood_sets(uint32_t request, const flood_vlan *vlans) {
    uint8_t older[sizeof(vell_l2_message) +
                  n_vlans * (VELL_L2_RECORD_BYTES + most_ports * sizeof(vell_l2_oif))] = {0};
    uint8_t newer[sizeof(older)] = {0};
    uint32_t old_length = sizeof(vell_l2_message);
    uint32_t new_length = sizeof(vell_l2_message);
    int i;

    for (i = 0; i < n_vlans; i++) {
        old_length += fill_vlan(older + old_length, vlans[i].id, vlans[i].installed);
        new_length += fill_vlan(newer + new_length, vlans[i].id, vlans[i].wanted);
    }
    return vell_send_l2_mc_update_flood_ltl(older, old_length, n_vlans, newer, new_length, n_vlans,
                                            (void *)(uintptr_t)request) == 1;
}

static int64_t now_ms(void) {
    struct timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* How an answer is recognised is the manager's business. On the simulator it has the opcode and the
 * context of its request. */
static int is_answer(const kyt_sim_message *message, uint32_t request) {
    struct nerb_sim_answer head;

    return kyt_sim_message_opcode(message) == NERB_SIM_OPCODE_FLOOD_UPDATE &&
           nerb_sim_answer_head(message, &head) == NERB_SIM_READ && head.cookie == request;
}

/* Waits for the answer to a request; the caller must free it. Skips other messages: an earlier
 * answer may come again. Returns NULL when no answer comes. */
static kyt_sim_message *await_answer(uint32_t queue, uint32_t request) {
    const int64_t deadline = now_ms() + answer_timeout_ms;
    int64_t left = answer_timeout_ms;
    kyt_sim_message *message = NULL;

    while (left > 0 && kyt_sim_receive(queue, (int)left, &message) == 1) {
        if (is_answer(message, request))
            return message;
        kyt_sim_message_free(message);
        left = deadline - now_ms();
    }
    fail("the flood update was not answered; it may have been carried out all the same");
    return NULL;
}

/* What was refused remains as it was, so the next update must start from there. */
static void take_vlan_result(const vell_flood_result *result, flood_vlan *vlan) {
    if (result->flags & VELL_FLOOD_ACKNOWLEDGED) {
        vlan->installed = vlan->wanted;
        printf("VLAN %u: done, it has %u ports\n", (unsigned)vlan->id,
               (unsigned)vlan->installed->n_ports);
    } else {
        printf("VLAN %u: refused, it has %u ports\n", (unsigned)vlan->id,
               (unsigned)vlan->installed->n_ports);
    }
}

/* Reads the result, which is in network byte order. */
static void take_result(const uint8_t *message, flood_vlan *vlans) {
    const vell_l2_message *head = (const vell_l2_message *)message;
    const vell_flood_result *results = (const vell_flood_result *)(head + 1);
    int i;
    int j;

    for (i = 0; i < ntohs(head->count); i++)
        for (j = 0; j < n_vlans; j++)
            if (vlans[j].id == ntohl(results[i].vlan))
                take_vlan_result(&results[i], &vlans[j]);
}

/* Returns 1 when the manager has answered, whether or not it refused VLANs. */
static int update_flood_sets(uint32_t queue, uint32_t request, flood_vlan *vlans) {
    kyt_sim_message *answer = NULL;
    uint8_t *result = NULL;
    int read = 0;

    if (!send_flood_sets(request, vlans))
        return fail("the flood update could not be sent");
    answer = await_answer(queue, request);
    if (answer == NULL)
        return 0;
    read = vell_handle_l2_mc_update_flood_ltl_resp(answer, &result) == 1;
    if (read)
        take_result(result, vlans);
    kyt_sim_message_free(answer);
    free(result); /* allocated by the library; NULL when the answer could not be read */
    return read || fail("the answer could not be read; vellsim show log says why");
}

static int expect_installed(const flood_vlan *vlans) {
    int i;

    for (i = 0; i < n_vlans; i++)
        if (vlans[i].installed != vlans[i].wanted)
            return fail("not every VLAN's change was made; vellsim show log says why");
    return 1;
}

static int work(uint32_t queue) {
    static const uint32_t ports[] = {po1, eth3_7, eth3_8, eth4_1};
    static const flood_set none = {NULL, 0};
    static const flood_set first = {ports, 2};      /* Po1 and Eth3/7 */
    static const flood_set second = {ports + 1, 2}; /* Eth3/7 and Eth3/8 */
    static const flood_set other = {ports + 3, 1};
    flood_vlan vlans[n_vlans] = {{10, &none, &first}, {20, &none, &other}};

    if (!update_flood_sets(queue, 1, vlans))
        return 0;
    vlans[0].wanted = &second; /* one port goes, another one comes */
    return update_flood_sets(queue, 2, vlans) && expect_installed(vlans);
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    int done = 0;

    if (register_client(queue)) {
        done = work(queue);
        if (!vell_deregister())
            done = fail("the deregistration could not be sent");
    }
    kyt_sim_queue_close(queue);
    return done ? 0 : 1;
}
