// One wrong message per case: none of them may compile. Case 0 is right up to every limit, and must.
#include "client/log.h"

#define LETTERS_16 "abcdefghijklmnop"
#define LETTERS_64 LETTERS_16 LETTERS_16 LETTERS_16 LETTERS_16
#define LETTERS_240 LETTERS_64 LETTERS_64 LETTERS_64 LETTERS_16 LETTERS_16 LETTERS_16
#define LETTERS_248 LETTERS_240 "abcdefgh"
#define LETTERS_255 LETTERS_240 "abcdefghijklmno"
#define LETTERS_256 LETTERS_240 LETTERS_16

void log_case(unsigned char byte, unsigned int word, unsigned long long wide, const char *text) {
    using namespace vell;
    (void)byte, (void)word, (void)wide, (void)text;
#if LOG_CASE == 0
    vell_log(log_error, "f", 1, "%s(%d):ERROR: \n");
    vell_log(log_trace, "f", 1, "%s(%d):TRACE: %d %x %s %d", byte, word, text, -1);
    vell_log(log_error, "", 0, "%s(%d):ERROR: " LETTERS_248 "%d" LETTERS_255, word);
    vell_log(log_trace, LETTERS_255, 99999, "%s(%d):TRACE: " LETTERS_255 "%d" LETTERS_255, word);
#elif LOG_CASE == 1
    vell_log(log_error, "f", 1, "ERROR: no function and line\n");
#elif LOG_CASE == 2
    vell_log(log_error, "f", 1, "%s(%d):TRACE: the other level's marker\n");
#elif LOG_CASE == 3
    vell_log(log_trace, "f", 1, "%s(%d):no marker\n");
#elif LOG_CASE == 4
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d\n", text);
#elif LOG_CASE == 5
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %s\n", word);
#elif LOG_CASE == 6
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %u\n", word);
#elif LOG_CASE == 7
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d\n");
#elif LOG_CASE == 8
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d\n", word, word);
#elif LOG_CASE == 9
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d\n", wide);
#elif LOG_CASE == 10
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d %\n", word);
#elif LOG_CASE == 11
    vell_log(log_error, "f", 1, text);
#elif LOG_CASE == 12
    vell_log(log_error, "f", 1, "%s(%d):ERROR: cut\0short %d\n", word);
#elif LOG_CASE == 13
    static constexpr char unterminated[] = {'%', 's', '(', '%', 'd', ')', ':', 'E',
                                            'R', 'R', 'O', 'R', ':', ' ', 'x'};
    vell_log(log_error, "f", 1, unterminated);
#elif LOG_CASE == 14
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %s\n", nullptr);
#elif LOG_CASE == 15
    vell_log(log_error, LETTERS_256, 1, "%s(%d):ERROR: \n");
#elif LOG_CASE == 16
    vell_log(log_error, "f", -1, "%s(%d):ERROR: \n");
#elif LOG_CASE == 17
    vell_log(log_error, "f", 100000, "%s(%d):ERROR: \n");
#elif LOG_CASE == 18
    vell_log(log_error, "f", 1, "%s(%d):ERROR: " LETTERS_256);
#elif LOG_CASE == 19
    vell_log(log_error, "f", 1, "%s(%d):ERROR: %d" LETTERS_256, word);
#elif LOG_CASE == 20
    vell_log(log_error, text, 1, "%s(%d):ERROR: \n");
#elif LOG_CASE == 21
    vell_log(log_error, "f", int{byte}, "%s(%d):ERROR: \n");
#elif LOG_CASE == 22
    static constexpr char part_of_the_prefix[] = {'%', 's', '('};
    vell_log(log_error, "f", 1, part_of_the_prefix);
#elif LOG_CASE == 23
    static constexpr char part_of_the_marker[] = {'%', 's', '(', '%', 'd', ')', ':', 'E', 'R'};
    vell_log(log_error, "f", 1, part_of_the_marker);
#elif LOG_CASE == 24
    vell_log(log_trace, "f", 1, "%s(%d):TRACE: " LETTERS_256);
#elif LOG_CASE == 25
    vell_log(log_trace, "f", 1, "%s(%d):TRACE: %d" LETTERS_256, word);
#elif LOG_CASE == 26
    vell_log(log_error, "f", 1, "%s(%d):ERROR: " LETTERS_248 "a");
#elif LOG_CASE == 27
    vell_log(log_error, "f", 1, "%s(%d):ERROR: 100 %");
#elif LOG_CASE == 28
    vell_log(log_error, "f", 1, "%s(%d):ERROR: cut short\0");
#endif
}
