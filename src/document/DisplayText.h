// Text from a file or the network made safe to print or show: every character that would act on a terminal
// or break a message's line (C0 controls, DEL, C1 controls, line and paragraph separators, the marks that
// reorder text shown right to left) and every byte that is not part of valid UTF-8 becomes a visible escape.
// The result holds no control character, so escaping it again changes nothing.
#pragma once

#include <string>
#include <string_view>

namespace velumen {

// "\n", "\r" and "\t" for those three; "\xNN" for the other C0 controls, DEL and each byte that is not valid
// UTF-8 (a stray continuation byte, an overlong form, an encoded surrogate, a cut sequence); "\u{NNNN}" for
// C1 controls and the other characters above. Everything else is copied as it is, backslashes included.
std::string escapedForDisplay(std::string_view text);

}  // namespace velumen
