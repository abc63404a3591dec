// Base64 with the standard alphabet and "=" padding, for binary data inside
// text files.
#pragma once

#include <cstddef>

#include "libOS/LightweightString.h"

// The 64 characters, in value order; constant from load time on.
extern const char kBase64Alphabet[65];

// Encodes n bytes; empty for n of 0 or null bytes.
LightweightString<char> base64Encode(const unsigned char* bytes, size_t n);

// Decodes up to the first "=" or the first character outside the alphabet,
// and gives the number of bytes through n. The result is a new array of the
// text's length plus 10 bytes, which the caller frees with delete[]. A null
// text gives an array of 10 bytes and n of 0.
unsigned char* base64Decode(const char* text, size_t* n);
