#ifndef BRENIK3_CODEC_JSONTEXT_H
#define BRENIK3_CODEC_JSONTEXT_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// A small JSON document model for the DICOM JSON reader: numbers keep their
// text, so that decimal strings come back exactly as they were written.
struct JsonNode {
    enum Kind { NUL, BOOL, NUMBER, STRING, ARRAY, OBJECT } kind = NUL;
    std::string text;  // number text, string value, "true"/"false"
    std::vector<JsonNode> items;
    std::vector<std::pair<std::string, JsonNode>> members;

    const JsonNode* member(const std::string& name) const;
};

// Parses text into root. Nesting is bounded (depth 64); returns false with
// a message naming the offset on malformed input.
bool jsonParse(const std::string& text, JsonNode& root, std::string& error);

// Appends s as a quoted JSON string.
void jsonQuote(const std::string& s, std::string& out);

// Base64 (standard alphabet, padded).
std::string base64Encode(const uint8_t* data, size_t size);
bool base64Decode(const std::string& text, std::vector<uint8_t>& out);

#endif
