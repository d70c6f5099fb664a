// The values of a message: numbers and strings, as every reader of the log knows them from printf.
#include "client/log.h"
#include "library_test.h"

#include <climits>
#include <string>

namespace {

using vell::log_error;
using vell::vell_log;

class LogValueTest : public LibraryTest {
protected:
    static void expect_body(const std::string &format, const std::string &body) {
        EXPECT_CALLS(logged({.level = error,
                             .format = "%s(%d):ERROR: " + format,
                             .text = "f(7):ERROR: " + body,
                             .client_text = "f(7):ERROR: " + body}));
    }

    template <typename Value>
    static void expect_decimal(Value value, const std::string &body) {
        vell_log(log_error, "f", 7, "%s(%d):ERROR: %d", value);
        expect_body("%d", body);
    }

    template <typename Value>
    static void expect_hexadecimal(Value value, const std::string &body) {
        vell_log(log_error, "f", 7, "%s(%d):ERROR: %x", value);
        expect_body("%x", body);
    }

    static void expect_string(const char *value, const std::string &body) {
        vell_log(log_error, "f", 7, "%s(%d):ERROR: <%s>", value);
        expect_body("<%s>", "<" + body + ">");
    }
};

TEST_F(LogValueTest, DecimalNumbersAreSigned) {
    expect_decimal(0, "0");
    expect_decimal(9, "9");
    expect_decimal(10, "10");
    expect_decimal(1234567890, "1234567890");
    expect_decimal(INT_MAX, "2147483647");
    expect_decimal(-1, "-1");
    expect_decimal(-10, "-10");
    expect_decimal(-2147483647, "-2147483647");
    expect_decimal(INT_MIN, "-2147483648");
}

TEST_F(LogValueTest, ANumberGetsItsNextDigitAtAPowerOfTen) {
    expect_decimal(99, "99");
    expect_decimal(100, "100");
    expect_decimal(999, "999");
    expect_decimal(1000, "1000");
    expect_decimal(9999, "9999");
    expect_decimal(10000, "10000");
    expect_decimal(99999, "99999");
    expect_decimal(100000, "100000");
    expect_decimal(999999, "999999");
    expect_decimal(1000000, "1000000");
    expect_decimal(9999999, "9999999");
    expect_decimal(10000000, "10000000");
    expect_decimal(99999999, "99999999");
    expect_decimal(100000000, "100000000");
    expect_decimal(999999999, "999999999");
    expect_decimal(1000000000, "1000000000");
    expect_decimal(-999999999, "-999999999");
    expect_decimal(-1000000000, "-1000000000");
}

TEST_F(LogValueTest, UnsignedNumbersAbove0x7fffffffAreNegativeInDecimal) {
    expect_decimal(0x7fffffffU, "2147483647");
    expect_decimal(0x80000000U, "-2147483648");
    expect_decimal(0xfffffffeU, "-2");
    expect_decimal(0xffffffffU, "-1");
}

TEST_F(LogValueTest, NarrowNumbersKeepTheirValue) {
    expect_decimal(std::uint8_t{0}, "0");
    expect_decimal(std::uint8_t{255}, "255");
    expect_decimal(std::uint16_t{65535}, "65535");
    expect_decimal(std::int8_t{-128}, "-128");
    expect_decimal(std::int16_t{-32768}, "-32768");
    expect_hexadecimal(std::uint8_t{0xfe}, "fe");
    expect_hexadecimal(std::uint16_t{0xfedc}, "fedc");
}

TEST_F(LogValueTest, HexadecimalNumbersAreLowerCaseWithoutPrefixOrLeadingZeros) {
    expect_hexadecimal(0U, "0");
    expect_hexadecimal(1U, "1");
    expect_hexadecimal(0xfU, "f");
    expect_hexadecimal(0x10U, "10");
    expect_hexadecimal(0x09abcdefU, "9abcdef");
    expect_hexadecimal(0x80000000U, "80000000");
    expect_hexadecimal(0xffffffffU, "ffffffff");
    expect_hexadecimal(-1, "ffffffff");
}

TEST_F(LogValueTest, StringsAreCopiedAsTheyAre) {
    expect_string("", "");
    expect_string("word", "word");
    expect_string("%d%s%%%n", "%d%s%%%n");
    expect_string("\n\t\x01\xff", "\n\t\x01\xff");
    expect_string(std::string(300, 'w').c_str(), std::string(300, 'w'));
}

TEST_F(LogValueTest, ANullStringIsWrittenAsSuch) {
    expect_string(nullptr, "(null)");
}

TEST_F(LogValueTest, StringsMayLieInAnArrayThatIsNotConstant) {
    char text[] = "word";
    vell_log(log_error, "f", 7, "%s(%d):ERROR: %s", text);
    expect_body("%s", "word");
}

TEST_F(LogValueTest, ValuesMayStandAtTheStartAtTheEndAndSideBySide) {
    vell_log(log_error, "f", 7, "%s(%d):ERROR: %d%x%s%s%d", -12, 0x34U, "5", "", 6);
    expect_body("%d%x%s%s%d", "-12345"
                              "6");
    vell_log(log_error, "f", 7, "%s(%d):ERROR: %s-%d:%x.", "a", 1, 10U);
    expect_body("%s-%d:%x.", "a-1:a.");
}

TEST_F(LogValueTest, ManyValuesComeInTheirOrder) {
    vell_log(log_error, "f", 7, "%s(%d):ERROR: %d %d %s %x %d %s %x %d\n", 1, 2, "three", 4U, 5,
             "six", 7U, 8);
    expect_body("%d %d %s %x %d %s %x %d\n", "1 2 three 4 5 six 7 8\n");
}

} // namespace
