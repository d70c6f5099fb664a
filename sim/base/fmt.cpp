// The fmt library, compiled once: a 64-bit machine's package holds it for 64 bits only, and as
// headers alone it would be compiled again into every object that formats a text. What there is to
// compile is a version's own: print.h says of which this is done.
#include "sim/base/print.h"

#ifndef FMT_HEADER_ONLY
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

// What the headers leave to the compiled library.
template FMT_API void vformat_to(buffer<char> &, string_view, format_args, locale_ref);
template FMT_API auto locale_ref::get<std::locale>() const -> std::locale;
template FMT_API void buffer<char>::append(const char *, const char *);
template FMT_API auto thousands_sep_impl<char>(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl<char>(locale_ref) -> char;
template FMT_API auto dragonbox::to_decimal(float) noexcept -> dragonbox::decimal_fp<float>;
template FMT_API auto dragonbox::to_decimal(double) noexcept -> dragonbox::decimal_fp<double>;

} // namespace detail
FMT_END_NAMESPACE
#endif
