/*
 * A client linked as a fixed-address executable: the exported variables that it names live in the
 * executable itself. It opens a list, looks into it, closes it by setting the cursor to null, and
 * finds the library agreeing at every step.
 */
#include <vell.h>

#include <stdio.h>
#include <string.h>

static int failures;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "fixed_address_client: %s\n", what);
        failures++;
    }
}

int main(void) {
    static const uint8_t one_oif[] = {1, 0, 0, 0, 0x44, 0x33, 0x22, 0x11, 4, 0, 0, 0};
    uint8_t route[128] = {0};

    vell_mrib_add_oifs_begin();
    expect((void *)vell_oifs == (void *)vell_mrib_buf,
           "the open list does not lie at the buffer's start");
    vell_mrib_add_duxsvi_oif(0x11223344);
    expect(memcmp(vell_mrib_buf, one_oif, sizeof(one_oif)) == 0, "the entry is not in the buffer");

    vell_oifs = NULL;
    vell_mrib_add_reg_oif(9);
    expect(memcmp(vell_mrib_buf, one_oif, sizeof(one_oif)) == 0,
           "an entry was added to a closed list");
    vell_mrib_add_oifs_end((vell_mrib_route *)route);
    expect(current_tlv_size == 0, "a closed list was appended");

    vell_mrib_add_oifs_begin();
    vell_mrib_add_reg_oif(9);
    vell_mrib_add_oifs_end((vell_mrib_route *)route);
    expect(vell_oifs == NULL, "the end did not close the list");
    expect(current_tlv_size != 0 && p_current_tlv_addr != 0, "the append position does not show");
    return failures == 0 ? 0 : 1;
}
