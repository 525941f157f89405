// What fmt's headers declare for its library to define.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template char decimal_point_impl<char>(locale_ref locale);
template thousands_sep_result<char> thousands_sep_impl<char>(locale_ref locale);
template void buffer<char>::append(const char* begin, const char* end);
template void vformat_to(buffer<char>& out, string_view format,
                         basic_format_args<buffer_context<char>> arguments, locale_ref locale);

} // namespace detail
FMT_END_NAMESPACE
