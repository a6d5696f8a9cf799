#include "printable.h"

#include <string_view>

#include "base/terminal_text.h"

PrintableText::PrintableText(const char *text) {
  Tcl_DStringInit(&text_);
  for (std::string_view rest = text; !rest.empty();) {
    const qom::TextPiece piece = qom::first_piece(rest);
    if (piece.printable)
      Tcl_DStringAppend(&text_, rest.data(), static_cast<int>(piece.length));
    else
      append_numbers(rest.substr(0, piece.length));
    rest.remove_prefix(piece.length);
  }
}

void PrintableText::append_numbers(std::string_view bytes) {
  for (const char byte : bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    const char number[] = {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
    Tcl_DStringAppend(&text_, number, sizeof number);
  }
}
