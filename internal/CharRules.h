#ifndef BRENIK3_INTERNAL_CHARRULES_H
#define BRENIK3_INTERNAL_CHARRULES_H

// The characters each kind of text value may hold, shared by the element
// checks and the association's checks of its own texts.
namespace brenik3 {

// AE: anything but control characters and DEL.
inline bool anyVisible(unsigned char c) { return c >= 0x20 && c != 0x7F; }
// Printable ASCII only: the association's own AE title and version name.
inline bool printableAscii(unsigned char c) { return c >= 32 && c <= 126; }
inline bool codeString(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '_' || c == '*'; }
inline bool decimalString(unsigned char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E'; }
inline bool integerString(unsigned char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-'; }
inline bool longString(unsigned char c) { return c >= 0x20 && c != 0x7F && c != '\\'; }
// ESC is let through so that texts in extended character sets pass.
inline bool longText(unsigned char c) { return c >= 0x20 || c == '\n' || c == '\f' || c == '\r' || c == 0x1B; }
inline bool uidString(unsigned char c) { return (c >= '0' && c <= '9') || c == '.'; }

}

#endif
