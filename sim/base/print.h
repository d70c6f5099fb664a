// fmt::print() into a stream. The formatting itself, which fmt's own header would compile again for
// every file that prints, is compiled once, in fmt.cpp. Of fmt other than 9 and 10, the build
// defines FMT_HEADER_ONLY instead.
#pragma once

#include <fmt/ostream.h>

#ifndef FMT_HEADER_ONLY
FMT_BEGIN_NAMESPACE
namespace detail {

extern template void vformat_to(buffer<char> &, string_view, format_args, locale_ref);

} // namespace detail
FMT_END_NAMESPACE
#endif
