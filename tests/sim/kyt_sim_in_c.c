/* The simulator's interface is a C interface: this file holds a C compiler against it. */
#include <kyt_sim.h>

#include <protocol.h>
#include <vell_sim.h>

size_t kyt_sim_counts_size_in_c(void);
int vell_sim_client_id_in_c(const kyt_sim_message *message);

size_t kyt_sim_counts_size_in_c(void) {
    return sizeof(kyt_sim_counts);
}

int vell_sim_client_id_in_c(const kyt_sim_message *message) {
    struct vell_sim_registration answer;
    return kyt_sim_message_opcode(message) == VELL_SIM_OPCODE_REGISTER &&
                   vell_sim_registration_answer(message, &answer) == VELL_SIM_READ
               ? answer.client_id
               : -1;
}
