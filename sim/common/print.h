// fmt::print() into a stream. The formatting behind it, which fmt's own header would compile anew for every file that
// prints, is compiled once, in fmt.cpp.
#pragma once

#include <fmt/ostream.h>

FMT_BEGIN_NAMESPACE
namespace detail {

extern template void vformat_to(buffer<char> &, string_view, format_args, locale_ref);

} // namespace detail
FMT_END_NAMESPACE
