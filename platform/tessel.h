/*
 * Debug and event history: the functions of libtessel that libvell calls.
 *
 * The history and the per-client log receive a record by its length in bytes and its address: the
 * level, a uint32, and the text with its NUL. The
 * platform defines the meaning of the constant arguments that libvell passes.
 */
#ifndef TESSEL_H
#define TESSEL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The module name that debug prints appear under. libvell only passes its address. */
extern char tessel_dbg_modname[];

/* Returns 0 when the module's event history accepts messages of this level. */
uint32_t tessel_hist_event_subtype_check(uint32_t module, uint32_t level);

/* Writes a record to the module's event history. */
uint32_t tessel_hist_event(uint32_t module, uint32_t length, const void *record);

/* Returns non-zero when messages of this level should be printed on the debug console. */
uint32_t tessel_chk_int(uint32_t level, uint32_t first, uint32_t second, uint32_t third);

/* Writes a record to the log of the client process with this uuid. */
uint32_t tessel_his_log_event_for_uuid_inst(uint32_t uuid, uint32_t module, uint32_t first,
                                            uint32_t second, uint32_t length, const void *record);

/* Prints on the debug console, with a format and values as for printf. */
void debug_print(uint32_t first, void *modname, uint32_t second, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
