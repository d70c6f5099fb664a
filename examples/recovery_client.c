/*
 * A client that survives its service: it keeps a table of routes, and whenever the service goes
 * away, it registers again and sends the whole table again.
 *
 *     gcc -m32 recovery_client.c $(pkg-config --cflags --libs vell vell-sim) -o recovery_client
 *     vellsim run --detach
 *     ./recovery_client
 *
 * It reads changes from its standard input, also while there is no service: "add 239.1.1.1 5" adds
 * a route to outgoing interface 5 or changes it, "delete 239.1.1.1" deletes it. Meanwhile, restart
 * the simulator from another terminal: vellsim stop, vellsim run --detach, vellsim show routes. At
 * the end of the input (Ctrl-D) the client waits until the service has handled everything,
 * deregisters and exits. When the service is lost, does not answer or refuses, it tries again, after
 * a pause that grows.
 *
 *                     sent                  accepted
 *     away ─────────────────► registering ───────────► registered: send what is unsent,
 *      ▲  pause                    │                   │           ask whether it was handled
 *      └───────────────────────────┴───────────────────┘
 *        connection lost, send failed, refused, no answer in time: everything is unsent again
 */
#define _POSIX_C_SOURCE 200112L /* clock_gettime, inet_pton */

#include <kyt.h>
#include <kyt_sim.h>
#include <vell.h>

#include <arpa/inet.h>
#include <poll.h>
#include <protocol.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#include <vell_sim.h>

enum {
    client_uuid = 500,
    answer_timeout_ms = 5000, /* more than the service needs for the whole table */
    first_pause_ms = 250,
    longest_pause_ms = 4000,
    most_routes = 1000,
    routes_in_message = 16,
    route_room = 8 + 56, /* vell_mrib_get_max_route_size(1, 0, 0) */
    table_id = 253
};

/* Routes are not acknowledged. But the service handles its messages in order, so the answer to a
 * question that was sent after a route says that the route was handled. (Whether it was refused, only
 * the service's log says.) A deleted route remains in the table until then: the service may have
 * lost only the connection, and still have the route. */
typedef struct route {
    uint32_t group;
    uint32_t oif;
    int is_deleted;
    uint32_t question; /* the number of the one that was sent after it; 0: the route is unsent */
} route;

typedef struct client {
    route routes[most_routes];
    int n_routes;
    int input;      /* -1 once it has ended */
    uint32_t queue; /* 0 while there is no connection */
    int is_registered;
    int is_download;   /* what is unsent is the whole table */
    uint32_t epoch;    /* of the registration */
    uint32_t question; /* the number of the last one */
    uint32_t answered; /* the number of the last one that was answered */
    int64_t due;       /* when to connect, or to give up waiting for an answer; -1: never */
    int pause_ms;      /* before the next try */
    const char *said;  /* the failure reported last */
} client;

static int64_t now_ms(void) {
    struct timespec now;

    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* ---- The connection. A result of type const char * is NULL, or what failed. ---- */

/* The library still has the lost queue and the old client id. It gives up the id once the
 * deregistration is sent, although a restarted service refuses that: it does not know the client. */
static int register_again(uint32_t queue) {
    vell_register_kyt_q(queue);
    vell_deregister();
    vell_register_kyt_q(0); /* vell_register refuses while the library has a queue or an id */
    return vell_register(queue, client_uuid, "recovery_client") == 1;
}

/* A new queue has no messages of the lost connection, such as late answers. */
static const char *connect_to_service(client *self) {
    if (now_ms() < self->due)
        return NULL;
    self->queue = kyt_sim_queue_open();
    if (!register_again(self->queue))
        return "no service takes the registration; is the simulator running (vellsim run)?";
    self->due = now_ms() + answer_timeout_ms;
    return NULL;
}

/* Whatever happened, the service may have everything, some of it or nothing. */
static void lose_service(client *self, const char *why) {
    int i;

    if (self->said != why)
        fprintf(stderr, "recovery_client: %s; trying again\n", why);
    self->said = why;
    kyt_sim_queue_close(self->queue); /* another send from it would connect without registering */
    self->queue = 0;
    self->is_registered = 0;
    for (i = 0; i < self->n_routes; i++)
        self->routes[i].question = 0;
    self->due = now_ms() + self->pause_ms;
    self->pause_ms = self->pause_ms < longest_pause_ms / 2 ? 2 * self->pause_ms : longest_pause_ms;
}

static const char *take_registration(client *self, kyt_sim_message *answer) {
    if (!vell_register_ack(answer))
        return "the service gave no client id (vellsim show log says why)";
    printf("registered\n");
    self->is_registered = 1;
    self->is_download = 1;
    self->epoch++;
    self->due = -1;
    return NULL;
}

static int count_unsent(const client *self) {
    int count = 0;
    int i;

    for (i = 0; i < self->n_routes; i++)
        count += self->routes[i].question == 0;
    return count;
}

static int is_in_step(const client *self) {
    return self->is_registered && count_unsent(self) == 0 && self->answered == self->question;
}

/* The service has handled what was sent before the question, so deleted routes can be forgotten. */
static void take_confirmation(client *self, uint32_t question) {
    int n_kept = 0;
    int i;

    for (i = 0; i < self->n_routes; i++) {
        const route *kept = &self->routes[i];
        if (!kept->is_deleted || kept->question == 0 || kept->question > question)
            self->routes[n_kept++] = *kept;
    }
    self->n_routes = n_kept;
    self->answered = question;
    self->due = question == self->question ? -1 : now_ms() + answer_timeout_ms;
    self->pause_ms = first_pause_ms;
    self->said = NULL;
    if (is_in_step(self))
        printf("the service has handled all %d routes\n", self->n_routes);
}

/* This is how an idle client notices the loss: the queue's descriptor becomes readable, and
 * receiving returns -1. */
static const char *take_messages(client *self) {
    kyt_sim_message *message = NULL;
    struct vell_sim_registration registration;
    struct vell_sim_stats stats;
    const char *failure = NULL;
    int received = 0;

    while (failure == NULL && (received = kyt_sim_receive(self->queue, 0, &message)) == 1) {
        if (!self->is_registered &&
            vell_sim_registration_answer(message, &registration) == VELL_SIM_READ)
            failure = take_registration(self, message);
        else if (vell_sim_stats_answer(message, &stats) == VELL_SIM_READ &&
                 stats.table > self->answered && stats.table <= self->question)
            take_confirmation(self, stats.table);
        kyt_sim_message_free(message);
    }
    return received == -1 ? "the connection to the service was lost" : failure;
}

/* ---- The table ---- */

/* Fills a route and returns its size. */
static uint32_t fill_route(vell_mrib_route *record, const route *wanted, uint32_t epoch,
                           uint64_t flags) {
    p_current_tlv_addr = 0;
    current_tlv_size = 0;
    vell_mrib_set_opcode(record, wanted->is_deleted ? VELL_SIM_ROUTE_DELETE : VELL_SIM_ROUTE_ADD);
    vell_mrib_set_flags(record, flags);
    vell_mrib_set_source(record, 0x0a000009, 32); /* 10.0.0.9, in host byte order */
    vell_mrib_set_group(record, wanted->group, 32);
    vell_mrib_set_epoch(record, epoch);
    vell_mrib_set_rpfif(record, 4);
    vell_mrib_set_table_id(record, table_id);
    if (!wanted->is_deleted) {
        vell_mrib_add_oifs_begin();
        vell_mrib_add_reg_oif(wanted->oif);
        vell_mrib_add_oifs_end(record);
    }
    return vell_mrib_get_route_size(record);
}

static int send_message(uint32_t queue, uint8_t *message, uint32_t length, uint16_t count) {
    kyt_msg_ref reference;

    if (!vell_send_v4_mroute_update(message, length, count, 0, &reference))
        return 0;
    kyt_drop(queue, &reference);
    return 1;
}

/* The service defines what flags and epoch mean. This client raises the epoch with each
 * registration, and flags what it sends first after it as a download. A service that kept routes of
 * an earlier epoch knows that they are stale when the download is done. */
static uint64_t download_flags(const client *self, int is_last) {
    if (!self->is_download)
        return 0;
    return is_last ? vell_mrib_flag_download | vell_mrib_flag_download_done
                   : vell_mrib_flag_download;
}

/* Sends what is unsent, several routes to a message. */
static int send_unsent(client *self) {
    uint8_t message[sizeof(vell_mrib_message) + routes_in_message * route_room];
    int n_left = count_unsent(self);
    int i = 0;

    while (n_left > 0) {
        uint32_t length = sizeof(vell_mrib_message);
        uint16_t count = 0;
        memset(message, 0, sizeof(message)); /* the library does not write reserved bytes */
        for (; n_left > 0 && count < routes_in_message; i++) {
            if (self->routes[i].question != 0)
                continue;
            length += fill_route((vell_mrib_route *)(message + length), &self->routes[i],
                                 self->epoch, download_flags(self, --n_left == 0));
            self->routes[i].question = self->question + 1;
            count++;
        }
        if (!send_message(self->queue, message, length, count))
            return 0;
    }
    self->is_download = 0;
    return 1;
}

/* Asks for the counters of a route that nobody has. Its table is the number of the question. */
static int send_question(client *self) {
    if (self->due < 0)
        self->due = now_ms() + answer_timeout_ms;
    self->question++;
    return vell_send_v4_mroute_stats_req(self->question, 0, 0, 0, 0, 0);
}

/* ---- The loop ---- */

/* Does what can be done without waiting. Returns NULL, or how the service was lost. */
static const char *advance(client *self) {
    const char *failure = self->queue == 0 ? connect_to_service(self) : take_messages(self);

    if (failure != NULL)
        return failure;
    if (self->queue != 0 && self->due >= 0 && now_ms() >= self->due)
        return "the service did not answer in time";
    if (self->is_registered && count_unsent(self) > 0 &&
        !(send_unsent(self) && send_question(self)))
        return "a message could not be sent";
    return NULL;
}

/* Returns the route of a group, a new one at the end of the table, or NULL when that is full. */
static route *find_route(client *self, uint32_t group) {
    int i = 0;

    while (i < self->n_routes && self->routes[i].group != group)
        i++;
    if (i == most_routes)
        return NULL;
    if (i == self->n_routes)
        self->routes[self->n_routes++].group = group;
    return &self->routes[i];
}

/* A change goes into the table, whether or not there is a service. */
static void take_line(client *self, const char *line) {
    char text[16];
    unsigned oif = 0;
    struct in_addr group;
    route *changed = NULL;
    const int is_added = sscanf(line, "add %15s %u", text, &oif) == 2;

    if ((!is_added && sscanf(line, "delete %15s", text) != 1) ||
        inet_pton(AF_INET, text, &group) != 1 || ntohl(group.s_addr) >> 28 != 0xe) {
        fprintf(stderr,
                "recovery_client: expected \"add GROUP INTERFACE\" or \"delete GROUP\", "
                "found: %s",
                line);
        return;
    }
    changed = find_route(self, ntohl(group.s_addr));
    if (changed == NULL) {
        fprintf(stderr, "recovery_client: the table is full (%d routes): %s", most_routes, line);
        return;
    }
    changed->oif = oif;
    changed->is_deleted = !is_added;
    changed->question = 0;
}

/* Returns the milliseconds until something is due; -1: never. */
static int wait_ms(const client *self) {
    const int64_t left = self->due - now_ms();

    return self->due < 0 ? -1 : left < 0 ? 0 : (int)left;
}

/* Waits for a line, for the service, or until something is due. */
static void wait_for_event(client *self) {
    struct pollfd watched[2] = {{0, POLLIN, 0}, {-1, POLLIN, 0}};
    char line[80];

    watched[0].fd = self->input; /* poll skips -1 */
    if (self->queue != 0)
        watched[1].fd = kyt_sim_queue_fd(self->queue); /* another one with each connection */
    if (poll(watched, 2, wait_ms(self)) <= 0 || watched[0].revents == 0)
        return;
    if (fgets(line, sizeof(line), stdin) != NULL)
        take_line(self, line);
    else
        self->input = -1;
}

int main(void) {
    static client self; /* zeros: not connected, and due at once */

    self.input = STDIN_FILENO;
    self.pause_ms = first_pause_ms;
    setvbuf(stdin, NULL, _IONBF, 0); /* poll does not see lines that stdio has read ahead */
    setvbuf(stdout, NULL, _IOLBF, 0);
    while (self.input >= 0 || !is_in_step(&self)) {
        const char *failure = NULL;
        wait_for_event(&self);
        failure = advance(&self);
        if (failure != NULL)
            lose_service(&self, failure);
    }
    if (!vell_deregister()) {
        fprintf(stderr, "recovery_client: the deregistration could not be sent\n");
        return 1;
    }
    kyt_sim_queue_close(self.queue);
    return 0;
}
