/*
 * A client of the overlay functions: sends an overlay route, reports that two VLANs left the
 * overlay, and finally that the whole overlay is disabled. None of this needs a registration.
 *
 *     gcc -m32 overlay_client.c $(pkg-config --cflags --libs vell vell-sim) -o overlay_client
 *     vellsim run --detach
 *     ./overlay_client && vellsim show overlay
 */
#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <stdio.h>

/* The overlay and the service define a route's type and what follows the head. The simulator shows
 * any type with its bytes. */
typedef struct overlay_route {
    vell_zeb_message head;
    uint32_t group;
    uint32_t segment;
} overlay_route;

typedef struct disabled_vlans {
    vell_zeb_message head; /* its type is written by the library */
    uint16_t vlans[2];     /* the service defines this; on the simulator any number of VLAN ids */
} disabled_vlans;

static int send_route(uint32_t queue) {
    const overlay_route route = {{7, sizeof(overlay_route)}, 0xef010101, 5010};
    kyt_msg_ref reference;

    if (!vell_send_zeb_route_update(queue, &route, &reference))
        return 0;
    kyt_drop(queue, &reference); /* this is the only one of the three that has a reference */
    return 1;
}

static int disable_vlans(uint32_t queue) {
    disabled_vlans message = {{0, sizeof(disabled_vlans)}, {10, 20}};

    return vell_send_zeb_vlans_disable(queue, &message);
}

int main(void) {
    const uint32_t queue = kyt_sim_queue_open();
    const char *failure = NULL;

    if (!send_route(queue))
        failure = "the route could not be sent; is the simulator running (vellsim run)?";
    else if (!disable_vlans(queue))
        failure = "the disabled VLANs could not be sent";
    else if (!vell_send_zeb_feature_disable(queue, 0))
        failure = "it could not be sent that the overlay is disabled";
    kyt_sim_queue_close(queue);
    if (failure != NULL)
        fprintf(stderr, "overlay_client: %s\n", failure);
    return failure != NULL;
}
