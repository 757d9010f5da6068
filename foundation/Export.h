#ifndef BRENIK3_FOUNDATION_EXPORT_H
#define BRENIK3_FOUNDATION_EXPORT_H

// BRENIK3_API marks what the library exports: its classes, free functions
// and global objects. The library is built with hidden visibility, so
// everything else (the helpers inside it) stays out of its symbol table.
#if defined(__GNUC__)
#define BRENIK3_API __attribute__((visibility("default")))
#else
#define BRENIK3_API
#endif

#endif
