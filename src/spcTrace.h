// How the traces of the parameter client name themselves.
#pragma once

namespace client {

inline constexpr const char16_t* traceTag = u"SPC-SPC1";
inline constexpr const char16_t* traceSource = u"src\\spc";

}  // namespace client
