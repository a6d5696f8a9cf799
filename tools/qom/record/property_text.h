// Texts of window properties.
#ifndef QOM_RECORD_PROPERTY_TEXT_H
#define QOM_RECORD_PROPERTY_TEXT_H

#include <string>
#include <string_view>

namespace qom::record {

enum class TextEncoding {
  utf8,      // UTF8_STRING
  plain,     // STRING: Latin-1, but many programs store UTF-8 in it
  compound,  // COMPOUND_TEXT: character sets switched by escape sequences
};

// The text as UTF-8. Bytes that are no characters of the encoding become U+FFFD. `cut` means that
// more bytes followed: a last character that is not there whole is left out then.
std::string utf8_of(std::string_view bytes, TextEncoding encoding, bool cut);

}  // namespace qom::record

#endif
