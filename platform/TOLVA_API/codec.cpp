// Token reading and writing (see codec.h).
#include "codec.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

TokenWriter& TokenWriter::word(const char* w) {
    sep();
    m_out += w;
    return *this;
}

TokenWriter& TokenWriter::integer(long long v) {
    sep();
    m_out += std::to_string(v);
    return *this;
}

TokenWriter& TokenWriter::number(double v) {
    sep();
    if (std::isnan(v)) {
        m_out += "nan";
        return *this;
    }
    if (std::isinf(v)) {
        m_out += v > 0 ? "inf" : "-inf";
        return *this;
    }
    if (v == 0) v = 0;  // no "-0"
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    m_out.append(buf, r.ptr);
    return *this;
}

TokenWriter& TokenWriter::numberF(float v) {
    sep();
    if (v == 0) v = 0;
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    m_out.append(buf, r.ptr);
    return *this;
}

TokenWriter& TokenWriter::quoted(const std::string& s) {
    sep();
    m_out += '"';
    for (unsigned char c : s) {
        switch (c) {
        case '"': m_out += "\\\""; break;
        case '\\': m_out += "\\\\"; break;
        case '\n': m_out += "\\n"; break;
        case '\r': m_out += "\\r"; break;
        case '\t': m_out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7f) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\x%02x", c);
                m_out += buf;
            } else {
                m_out += static_cast<char>(c);
            }
        }
    }
    m_out += '"';
    return *this;
}

void TokenReader::skipBlanks() {
    while (m_pos < m_text.size() && (m_text[m_pos] == ' ' || m_text[m_pos] == '\t')) ++m_pos;
}

bool TokenReader::atEnd() {
    skipBlanks();
    return m_pos >= m_text.size();
}

std::string TokenReader::rawToken(const char* what) {
    skipBlanks();
    if (m_pos >= m_text.size()) fail(std::string("missing ") + what + " at the end of the text");
    size_t start = m_pos;
    while (m_pos < m_text.size() && m_text[m_pos] != ' ' && m_text[m_pos] != '\t') ++m_pos;
    return m_text.substr(start, m_pos - start);
}

std::string TokenReader::word() { return rawToken("a word"); }

long long TokenReader::integer() {
    std::string t = rawToken("an integer");
    long long v = 0;
    auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    if (r.ec != std::errc() || r.ptr != t.data() + t.size())
        fail("'" + t + "' is not an integer");
    return v;
}

int TokenReader::int32() {
    long long v = integer();
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        fail("integer " + std::to_string(v) + " is out of range");
    return static_cast<int>(v);
}

double TokenReader::number() {
    std::string t = rawToken("a number");
    double v = 0;
    auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    if (r.ec != std::errc() || r.ptr != t.data() + t.size() || !std::isfinite(v))
        fail("'" + t + "' is not a finite number");
    return v;
}

double TokenReader::anyNumber() {
    size_t save = m_pos;
    std::string t = rawToken("a number");
    if (t == "nan") return std::numeric_limits<double>::quiet_NaN();
    if (t == "inf") return std::numeric_limits<double>::infinity();
    if (t == "-inf") return -std::numeric_limits<double>::infinity();
    m_pos = save;
    return number();
}

bool TokenReader::boolean() {
    long long v = integer();
    if (v != 0 && v != 1) fail("expected 0 or 1, got " + std::to_string(v));
    return v == 1;
}

std::string TokenReader::quoted() {
    skipBlanks();
    if (m_pos >= m_text.size() || m_text[m_pos] != '"') fail("expected a quoted string");
    ++m_pos;
    std::string out;
    while (true) {
        if (m_pos >= m_text.size()) fail("unterminated quoted string");
        char c = m_text[m_pos++];
        if (c == '"') break;
        if (c != '\\') {
            out += c;
            continue;
        }
        if (m_pos >= m_text.size()) fail("unterminated escape in a quoted string");
        char e = m_text[m_pos++];
        switch (e) {
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case '"': out += '"'; break;
        case '\\': out += '\\'; break;
        case 'x': {
            if (m_pos + 2 > m_text.size()) fail("short \\x escape in a quoted string");
            unsigned v = 0;
            auto r = std::from_chars(m_text.data() + m_pos, m_text.data() + m_pos + 2, v, 16);
            if (r.ptr != m_text.data() + m_pos + 2) fail("bad \\x escape in a quoted string");
            out += static_cast<char>(v);
            m_pos += 2;
            break;
        }
        default: fail(std::string("unknown escape \\") + e + " in a quoted string");
        }
    }
    if (m_pos < m_text.size() && m_text[m_pos] != ' ' && m_text[m_pos] != '\t')
        fail("junk after a quoted string");
    return out;
}

void TokenReader::expectWord(const char* w) {
    std::string t = word();
    if (t != w) fail(std::string("expected '") + w + "', got '" + t + "'");
}

void TokenReader::expectEnd() {
    if (!atEnd()) fail("unexpected text '" + m_text.substr(m_pos) + "'");
}

}  // namespace KERNEL
}  // namespace TOLVA
