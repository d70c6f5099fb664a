/*
 * The smallest client: registers, sends two routes in one message, and deregisters.
 *
 *     vellsim run --detach
 *     route_client && vellsim show routes
 */
#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <protocol.h>
#include <stdio.h>
#include <vell_sim.h>

enum {
    client_uuid = 500,
    answer_timeout_ms = 5000,
    table_id = 253,
    max_oifs = 2,
    routes_in_message = 2
};

/* An IPv4 address as a uint32 in host byte order. */
static uint32_t ipv4(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return a << 24 | b << 16 | c << 8 | d;
}

/* Registers and waits for the service's answer, which arrives on the queue. Returns NULL, or a text
 * that says what failed. */
static const char *register_client(uint32_t queue) {
    kyt_sim_message *answer = NULL;
    struct vell_sim_registration read;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "route_client"))
        return "the registration could not be sent; is the simulator running (vellsim run)?";
    switch (kyt_sim_receive(queue, answer_timeout_ms, &answer)) {
    case 1:
        break;
    case 0:
        return "the service did not answer the registration in time";
    default:
        return "the simulator went away before it answered the registration";
    }
    /* How an answer is recognised is the service's business; vell_sim.h describes the simulator's. */
    if (vell_sim_registration_answer(answer, &read) != VELL_SIM_READ) {
        kyt_sim_message_free(answer);
        return "the service sent something else than the answer to the registration";
    }
    accepted = vell_register_ack(answer);
    kyt_sim_message_free(answer);
    return accepted ? NULL : "the service gave no client id; vellsim show log says why";
}

/* Fills one (S, G) route and returns its size in the message. Each route has its own TLV array, so
 * the append position is reset first. */
static uint32_t fill_route(vell_mrib_route *route, uint32_t group, uint32_t rpf_if,
                           const uint32_t *oifs, int n_oifs) {
    int i;

    p_current_tlv_addr = 0;
    current_tlv_size = 0;

    vell_mrib_set_opcode(route, VELL_SIM_ROUTE_ADD); /* the service defines the opcodes */
    vell_mrib_set_flag_init(route);
    vell_mrib_set_flags_download(route);
    vell_mrib_set_source(route, ipv4(10, 0, 0, 9), 32);
    vell_mrib_set_group(route, group, 32);
    vell_mrib_set_rpfif(route, rpf_if);
    vell_mrib_set_table_id(route, table_id);

    vell_mrib_add_oifs_begin();
    for (i = 0; i < n_oifs; i++)
        vell_mrib_add_reg_oif(oifs[i]);
    vell_mrib_add_oifs_end(route);

    return vell_mrib_get_route_size(route);
}

static uint32_t send_routes(uint32_t queue) {
    static const uint32_t oifs[max_oifs] = {5, 7};
    /* Room for the head and two routes of at most two OIFs, by vell_mrib_get_max_route_size. All
     * zeros, since the library does not write reserved bytes. */
    static uint8_t message[sizeof(vell_mrib_message) + routes_in_message * (8 * max_oifs + 56)];
    uint32_t length = sizeof(vell_mrib_message);
    kyt_msg_ref reference;

    length += fill_route((vell_mrib_route *)(message + length), ipv4(239, 1, 1, 1), 4, oifs, 2);
    length += fill_route((vell_mrib_route *)(message + length), ipv4(239, 1, 1, 2), 4, oifs, 1);

    if (!vell_send_v4_mroute_update(message, length, routes_in_message, 0, &reference))
        return 0;
    kyt_drop(queue, &reference);
    return 1;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = register_client(queue);

    if (failure == NULL && !send_routes(queue))
        failure = "the routes could not be sent";
    if (!vell_deregister() && failure == NULL)
        failure = "the client could not be deregistered";
    if (failure != NULL)
        fprintf(stderr, "route_client: %s\n", failure);
    kyt_sim_queue_close(queue);
    return failure == NULL ? 0 : 1;
}
