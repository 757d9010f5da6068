#include "codec/JsonText.h"

#include <cstdio>
#include <cstring>

namespace {

const int MAX_DEPTH = 64;

struct Parser {
    const std::string& s;
    size_t pos = 0;
    std::string error;

    void space()
    {
        while (pos < s.size() && (s[pos] == ' ' || s[pos] == '\n' || s[pos] == '\r' || s[pos] == '\t'))
            pos++;
    }
    bool fail(const char* what)
    {
        if (error.empty())
            error = std::string(what) + " at offset " + std::to_string(pos);
        return false;
    }
    static void utf8(uint32_t c, std::string& out)
    {
        if (c < 0x80)
            out += static_cast<char>(c);
        else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    bool hex4(uint32_t& v)
    {
        if (pos + 4 > s.size())
            return fail("short \\u escape");
        v = 0;
        for (int i = 0; i < 4; i++) {
            char c = s[pos++];
            v <<= 4;
            if (c >= '0' && c <= '9')
                v |= c - '0';
            else if (c >= 'a' && c <= 'f')
                v |= c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                v |= c - 'A' + 10;
            else
                return fail("bad \\u escape");
        }
        return true;
    }
    bool string(std::string& out)
    {
        pos++;  // opening quote
        while (pos < s.size() && s[pos] != '"') {
            char c = s[pos++];
            if (static_cast<unsigned char>(c) < 0x20)
                return fail("control character in string");
            if (c != '\\') {
                out += c;
                continue;
            }
            if (pos >= s.size())
                break;
            char e = s[pos++];
            switch (e) {
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            case '/': out += '/'; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case 'u': {
                uint32_t v = 0;
                if (!hex4(v))
                    return false;
                if (v >= 0xD800 && v < 0xDC00 && pos + 1 < s.size() && s[pos] == '\\' && s[pos + 1] == 'u') {
                    pos += 2;
                    uint32_t low = 0;
                    if (!hex4(low))
                        return false;
                    v = 0x10000 + ((v - 0xD800) << 10) + (low - 0xDC00);
                }
                utf8(v, out);
                break;
            }
            default:
                return fail("bad escape");
            }
        }
        if (pos >= s.size())
            return fail("unterminated string");
        pos++;
        return true;
    }
    bool value(JsonNode& node, int depth)
    {
        if (depth > MAX_DEPTH)
            return fail("nesting too deep");
        space();
        if (pos >= s.size())
            return fail("value expected");
        char c = s[pos];
        if (c == '{') {
            node.kind = JsonNode::OBJECT;
            pos++;
            space();
            if (pos < s.size() && s[pos] == '}') {
                pos++;
                return true;
            }
            for (;;) {
                space();
                if (pos >= s.size() || s[pos] != '"')
                    return fail("member name expected");
                std::string name;
                if (!string(name))
                    return false;
                space();
                if (pos >= s.size() || s[pos] != ':')
                    return fail("':' expected");
                pos++;
                node.members.emplace_back(name, JsonNode());
                if (!value(node.members.back().second, depth + 1))
                    return false;
                space();
                if (pos < s.size() && s[pos] == ',') {
                    pos++;
                    continue;
                }
                if (pos < s.size() && s[pos] == '}') {
                    pos++;
                    return true;
                }
                return fail("',' or '}' expected");
            }
        }
        if (c == '[') {
            node.kind = JsonNode::ARRAY;
            pos++;
            space();
            if (pos < s.size() && s[pos] == ']') {
                pos++;
                return true;
            }
            for (;;) {
                node.items.emplace_back();
                if (!value(node.items.back(), depth + 1))
                    return false;
                space();
                if (pos < s.size() && s[pos] == ',') {
                    pos++;
                    continue;
                }
                if (pos < s.size() && s[pos] == ']') {
                    pos++;
                    return true;
                }
                return fail("',' or ']' expected");
            }
        }
        if (c == '"') {
            node.kind = JsonNode::STRING;
            return string(node.text);
        }
        for (const char* word : {"true", "false", "null"}) {
            size_t n = strlen(word);
            if (s.compare(pos, n, word) == 0) {
                node.kind = word[0] == 'n' ? JsonNode::NUL : JsonNode::BOOL;
                node.text = word;
                pos += n;
                return true;
            }
        }
        size_t start = pos;
        if (pos < s.size() && s[pos] == '-')
            pos++;
        while (pos < s.size() && (isdigit(static_cast<unsigned char>(s[pos])) || s[pos] == '.' || s[pos] == 'e' ||
                                  s[pos] == 'E' || s[pos] == '+' || s[pos] == '-'))
            pos++;
        if (pos == start || !isdigit(static_cast<unsigned char>(s[pos - 1])))
            return fail("value expected");
        node.kind = JsonNode::NUMBER;
        node.text = s.substr(start, pos - start);
        return true;
    }
};

const char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}

const JsonNode* JsonNode::member(const std::string& name) const
{
    for (const auto& m : members)
        if (m.first == name)
            return &m.second;
    return nullptr;
}

bool jsonParse(const std::string& text, JsonNode& root, std::string& error)
{
    Parser parser{text, 0, std::string()};
    root = JsonNode();
    bool ok = parser.value(root, 0);
    if (ok) {
        parser.space();
        if (parser.pos != text.size())
            ok = parser.fail("trailing characters");
    }
    error = parser.error;
    return ok;
}

void jsonQuote(const std::string& s, std::string& out)
{
    out += '"';
    for (unsigned char c : s) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escape[8];
                snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
}

std::string base64Encode(const uint8_t* data, size_t size)
{
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (size_t i = 0; i < size; i += 3) {
        uint32_t v = uint32_t(data[i]) << 16;
        if (i + 1 < size)
            v |= uint32_t(data[i + 1]) << 8;
        if (i + 2 < size)
            v |= data[i + 2];
        out += ALPHABET[(v >> 18) & 63];
        out += ALPHABET[(v >> 12) & 63];
        out += i + 1 < size ? ALPHABET[(v >> 6) & 63] : '=';
        out += i + 2 < size ? ALPHABET[v & 63] : '=';
    }
    return out;
}

bool base64Decode(const std::string& text, std::vector<uint8_t>& out)
{
    out.clear();
    out.reserve(text.size() / 4 * 3);
    uint32_t v = 0;
    int bits = 0;
    for (char c : text) {
        if (c == '=' || c == '\n' || c == '\r' || c == ' ')
            continue;
        const char* at = strchr(ALPHABET, c);
        if (at == nullptr || c == '\0')
            return false;
        v = (v << 6) | uint32_t(at - ALPHABET);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<uint8_t>(v >> bits));
        }
    }
    return true;
}
