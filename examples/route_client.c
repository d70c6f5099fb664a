/*
 * A client that sends routes: registers, sends three routes in one message, the first with a list
 * of outgoing interfaces (OIFs), the second with MTI encapsulations too, the third with GLT
 * encapsulations besides both, and deregisters.
 *
 *     gcc -m32 route_client.c $(pkg-config --cflags --libs vell vell-sim) -o route_client
 *     vellsim run --detach
 *     ./route_client && vellsim show routes
 */
#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <protocol.h>
#include <stdio.h>
#include <stdlib.h>
#include <vell_sim.h>

enum { client_uuid = 500, answer_timeout_ms = 5000, table_id = 253, n_routes = 3 };

/* A route as this client keeps it. All have source 10.0.0.9 and RPF interface 4. Addresses are in
 * host byte order: 10.0.0.9 is 0x0a000009. */
typedef struct route {
    uint32_t group;
    uint32_t n_oif;
    uint32_t n_mti;
    uint32_t n_glt;
    const uint32_t *oifs;
    const vell_mti_entry *mti;
    const vell_glt_entry *glt;
} route;

/* Registers and waits for the service's answer, which arrives on the queue. Returns NULL, or a text
 * that says what failed. */
static const char *register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "route_client"))
        return "the registration could not be sent; is the simulator running (vellsim run)?";
    if (kyt_sim_receive(queue, answer_timeout_ms, &message) != 1)
        return "the service did not answer the registration, or went away";
    /* How an answer is recognised is the service's business; vell_sim.h describes the simulator's. */
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message);
    kyt_sim_message_free(message);
    return accepted ? NULL : "the service gave no client id; vellsim show log says why";
}

static void fill_head(vell_mrib_route *record, const route *described) {
    vell_mrib_set_opcode(record, VELL_SIM_ROUTE_ADD); /* the service defines the opcodes */
    vell_mrib_set_flag_init(record);
    vell_mrib_set_flags_download(record);
    vell_mrib_set_source(record, 0x0a000009, 32);
    vell_mrib_set_group(record, described->group, 32);
    vell_mrib_set_rpfif(record, 4);
    vell_mrib_set_table_id(record, table_id);
}

/* An empty list must not be opened: its end function would leave it open. */
static void add_oifs(vell_mrib_route *record, const route *described) {
    uint32_t i;

    if (described->n_oif == 0)
        return;
    vell_mrib_add_oifs_begin();
    for (i = 0; i < described->n_oif; i++)
        vell_mrib_add_reg_oif(described->oifs[i]);
    vell_mrib_add_oifs_end(record);
}

static void add_mti(vell_mrib_route *record, const route *described) {
    uint32_t i;

    if (described->n_mti == 0)
        return;
    vell_mrib_add_mti_encap_begin();
    for (i = 0; i < described->n_mti; i++) {
        const vell_mti_entry *mti = &described->mti[i];
        vell_mrib_add_mti_encap(mti->words[0], mti->words[1], mti->words[2], mti->words[3]);
    }
    vell_mrib_add_mti_encap_end(record);
}

static void add_glt(vell_mrib_route *record, const route *described) {
    uint32_t i;

    if (described->n_glt == 0)
        return;
    vell_mrib_add_glt_encap_begin();
    for (i = 0; i < described->n_glt; i++) {
        const vell_glt_entry *glt = &described->glt[i];
        vell_mrib_add_glt_encap(glt->words[0], glt->words[1], glt->words[2], glt->words[3],
                                glt->data, glt->data_length, glt->last_word);
    }
    vell_mrib_add_glt_encap_end(record);
}

/* Fills a route and returns its size, where the next route of the message begins. Each route has
 * its own TLV array, so the append position of the route before is reset first. */
static uint32_t fill_route(vell_mrib_route *record, const route *described) {
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    fill_head(record, described);
    add_oifs(record, described);
    add_mti(record, described);
    add_glt(record, described);
    return vell_mrib_get_route_size(record);
}

/* What a route takes at most. vell_mrib_get_max_route_size has room for one list's TLV head; the
 * heads of a second and a third list take up to 12 bytes more. */
static uint32_t room_for(const route *described) {
    return vell_mrib_get_max_route_size(described->n_oif, described->n_mti, described->n_glt) + 12;
}

static int send_message(uint32_t queue, uint8_t *message, uint32_t length, uint16_t count) {
    kyt_msg_ref reference;

    if (!vell_send_v4_mroute_update(message, length, count, 0, &reference))
        return 0;
    kyt_drop(queue, &reference); /* each message that was sent has a reference to release */
    return 1;
}

/* Sends all routes in one message. */
static int send_routes(uint32_t queue, const route *routes, uint16_t count) {
    uint32_t room = sizeof(vell_mrib_message);
    uint32_t length = sizeof(vell_mrib_message);
    uint8_t *message = NULL;
    int sent = 0;
    int i;

    for (i = 0; i < count; i++)
        room += room_for(&routes[i]);
    message = (uint8_t *)calloc(1, room); /* zeros: the library does not write reserved bytes */
    if (message == NULL)
        return 0;
    for (i = 0; i < count; i++)
        length += fill_route((vell_mrib_route *)(message + length), &routes[i]);
    sent = send_message(queue, message, length, count);
    free(message);
    return sent;
}

static int send_all(uint32_t queue) {
    static const uint32_t oifs[] = {5, 7};
    /* The service defines what the words and the data mean. */
    static const vell_mti_entry mti[] = {{{1, 2, 3, 4}}, {{5, 6, 7, 8}}};
    static const vell_glt_entry glt[] = {{{9, 10, 11, 12}, {0x0a, 0x0b, 0x0c}, 3, 13}};
    static const route routes[n_routes] = {
        {0xef010101, 2, 0, 0, oifs, NULL, NULL}, /* 239.1.1.1 */
        {0xef010102, 1, 2, 0, oifs, mti, NULL},
        {0xef010103, 2, 2, 1, oifs, mti, glt},
    };

    return send_routes(queue, routes, n_routes);
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = register_client(queue);

    if (failure == NULL && !send_all(queue))
        failure = "the routes could not be sent";
    if (!vell_deregister() && failure == NULL)
        failure = "the client could not be deregistered";
    if (failure != NULL)
        fprintf(stderr, "route_client: %s\n", failure);
    kyt_sim_queue_close(queue);
    return failure == NULL ? 0 : 1;
}
