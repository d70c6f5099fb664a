/*
 * The smallest client: registers, waits for the answer, sends one route, and deregisters.
 *
 *     gcc -m32 first_client.c $(pkg-config --cflags --libs vell vell-sim) -o first_client
 *     vellsim run --detach
 *     ./first_client && vellsim show routes
 */
#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <protocol.h>
#include <stdio.h>
#include <vell_sim.h>

/* The platform defines how a client receives and recognises the answer; this is the simulator's
 * way, as kyt_sim.h and vell_sim.h describe it. */
static int register_client(uint32_t queue) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration answer;
    int accepted = 0;

    if (!vell_register(queue, 500, "first_client") || kyt_sim_receive(queue, 5000, &message) != 1)
        return 0;
    if (vell_sim_registration_answer(message, &answer) == VELL_SIM_READ)
        accepted = vell_register_ack(message) == 1;
    kyt_sim_message_free(message);
    return accepted;
}

/* Sends (10.0.0.9, 239.1.1.1), received on interface 4 and forwarded to interface 5. */
static int send_route(uint32_t queue) {
    static uint8_t message[sizeof(vell_mrib_message) + 64]; /* zeros, with room for one OIF */
    vell_mrib_route *route = (vell_mrib_route *)(message + sizeof(vell_mrib_message));
    kyt_msg_ref reference;

    vell_mrib_set_opcode(route, VELL_SIM_ROUTE_ADD); /* the service defines the opcodes */
    vell_mrib_set_source(route, 0x0a000009, 32);
    vell_mrib_set_group(route, 0xef010101, 32);
    vell_mrib_set_rpfif(route, 4);
    vell_mrib_set_table_id(route, 253);
    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(5);
    vell_mrib_add_oifs_end(route);

    if (!vell_send_v4_mroute_update(
            message, sizeof(vell_mrib_message) + vell_mrib_get_route_size(route), 1, 0, &reference))
        return 0;
    kyt_drop(queue, &reference); /* each message that was sent has a reference to release */
    return 1;
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = NULL;

    if (!register_client(queue))
        failure = "the service did not register the client; is the simulator running (vellsim "
                  "run)? If it is, vellsim show log says why";
    else if (!send_route(queue))
        failure = "the route could not be sent";
    else if (!vell_deregister())
        failure = "the deregistration could not be sent";
    kyt_sim_queue_close(queue);
    if (failure != NULL)
        fprintf(stderr, "first_client: %s\n", failure);
    return failure != NULL;
}
