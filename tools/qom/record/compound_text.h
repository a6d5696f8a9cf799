// COMPOUND_TEXT, the form in which older programs give texts in any script.
#ifndef QOM_RECORD_COMPOUND_TEXT_H
#define QOM_RECORD_COMPOUND_TEXT_H

#include <string>
#include <string_view>

namespace qom::record {

// The text as UTF-8; what cannot be converted becomes U+FFFD, one for each stretch of it. A last
// character that is not there whole is left out. The conversion of the character sets is the C
// library's; Xlib's own needs a connection of Xlib's, which ends the process when the server goes.
std::string utf8_of_compound_text(std::string_view text);

}  // namespace qom::record

#endif
