/*
 * A snooping client: registers, adds three groups of VLAN 10 with their ports in a batch of two
 * messages, reports that its download is complete, then deletes a port from one group between
 * markers of its own, and deregisters.
 *
 *     gcc -m32 snooping_client.c $(pkg-config --cflags --libs vell vell-sim) -o snooping_client
 *     vellsim run --detach
 *     ./snooping_client && vellsim show l2
 */
#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <protocol.h>
#include <stdio.h>
#include <string.h>
#include <vell_sim.h>

enum {
    client_uuid = 501,
    answer_timeout_ms = 5000,
    bridge_if = 4,
    vlan_id = 10,
    most_ports = 3,
    most_records = 2,
    /* For the longest message of this client. */
    message_room = sizeof(vell_l2_message) +
                   most_records * (VELL_L2_RECORD_BYTES + most_ports * sizeof(vell_l2_oif))
};

/* An IPv4 address as a uint32 in host byte order. */
static uint32_t ipv4(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return a << 24 | b << 16 | c << 8 | d;
}

/* Registers and waits for the service's answer, which arrives on the queue. Returns NULL, or a text
 * that says what failed. */
static const char *register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    uint32_t accepted = 0;

    if (!vell_register(queue, client_uuid, "snooping_client"))
        return "the registration could not be sent; is the simulator running (vellsim run)?";
    if (kyt_sim_receive(queue, answer_timeout_ms, &message) != 1)
        return "the service did not answer the registration, or went away";
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message);
    kyt_sim_message_free(message);
    return accepted ? NULL : "the service gave no client id; vellsim show log says why";
}

static void fill_ipv4(vell_l2_address *block, uint32_t address) {
    block->kind = vell_l2_address_ipv4;
    memcpy(block->area, &address, sizeof(address));
}

/* Fills a record that adds ports to a (*, G) entry or deletes them from it. Returns its size. */
static uint32_t fill_record(uint8_t *at, uint8_t type, uint32_t group, const uint32_t *ports,
                            uint32_t n_ports) {
    vell_l2_mbd_record *record = (vell_l2_mbd_record *)at;
    vell_l2_oif *oifs = (vell_l2_oif *)(record + 1);
    uint32_t i;

    record->head.type = type;
    /* The service defines the words of a record; protocol.h has the simulator's. */
    record->words[VELL_SIM_MBD_BRIDGE] = bridge_if;
    record->words[VELL_SIM_MBD_VLAN] = vlan_id;
    fill_ipv4(&record->addresses[0], group);
    fill_ipv4(&record->addresses[1], 0); /* on the simulator, a source of 0.0.0.0 means (*, G) */
    record->count = n_ports;
    for (i = 0; i < n_ports; i++) {
        oifs[i].kind = vell_l2_oif_if_index;
        oifs[i].value.if_index = ports[i];
    }
    return (uint32_t)(VELL_L2_RECORD_BYTES + n_ports * sizeof(vell_l2_oif));
}

/* The message remains converted to network order: it cannot be sent a second time. */
static int send_message(uint32_t queue, uint8_t *message, uint32_t length, uint16_t records,
                        uint16_t flags) {
    kyt_msg_ref reference;

    ((vell_l2_message *)message)->flags = flags;
    if (!vell_send_l2_mc_update(message, length, records, 0, (uint32_t)(uintptr_t)&reference))
        return 0;
    kyt_drop(queue, &reference); /* each message that was sent has a reference to release */
    return 1;
}

/* One batch: the first message asks for the begin marker, the last one for the end marker. */
static int send_groups(uint32_t queue) {
    static const uint32_t ports[] = {5, 7, 8};
    uint8_t first[message_room] = {0};
    uint8_t last[message_room] = {0};
    uint32_t length = sizeof(vell_l2_message);

    length += fill_record(first + length, vell_l2_mbd_add, ipv4(239, 1, 1, 1), ports, 3);
    length += fill_record(first + length, vell_l2_mbd_add, ipv4(239, 1, 1, 2), ports, 1);
    if (!send_message(queue, first, length, 2, vell_l2_begin_marker))
        return 0;

    length = sizeof(vell_l2_message);
    length += fill_record(last + length, vell_l2_mbd_add, ipv4(239, 1, 1, 3), ports, 2);
    return send_message(queue, last, length, 1, vell_l2_end_marker) &&
           vell_send_igmp_download_complete();
}

/* Later changes. A client that sends them as they occur does not know which message will be the
 * last one of the batch, so it sends the markers itself. */
static int send_leave(uint32_t queue) {
    static const uint32_t ports[] = {7};
    uint8_t message[message_room] = {0};
    uint32_t length = sizeof(vell_l2_message);
    int sent = 0;

    length += fill_record(message + length, vell_l2_mbd_delete, ipv4(239, 1, 1, 1), ports, 1);
    if (!vell_send_igmp_oob_notification(VELL_SIM_MARKER_BEGIN))
        return 0;
    sent = send_message(queue, message, length, 1, 0);
    /* A batch that was begun is ended, even when its message could not be sent. */
    return vell_send_igmp_oob_notification(VELL_SIM_MARKER_END) && sent;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = register_client(queue);

    if (failure == NULL && !(send_groups(queue) && send_leave(queue)))
        failure = "a message or marker could not be sent";
    if (!vell_deregister() && failure == NULL)
        failure = "the client could not be deregistered";
    if (failure != NULL)
        fprintf(stderr, "snooping_client: %s\n", failure);
    kyt_sim_queue_close(queue);
    return failure == NULL ? 0 : 1;
}
