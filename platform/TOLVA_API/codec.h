#pragma once
// Tokens of the kernel's text formats (feature records, journal lines, saved
// jobs): blank-separated words, integers, numbers in their shortest exact
// form and double-quoted byte strings with backslash escapes.
#include <cstdint>
#include <string>

namespace TOLVA {
namespace KERNEL {

class TokenWriter {
public:
    TokenWriter& word(const char* w);
    TokenWriter& word(const std::string& w) { return word(w.c_str()); }
    TokenWriter& integer(long long v);
    TokenWriter& number(double v);   // shortest text that reads back to v
    TokenWriter& numberF(float v);   // shortest text that reads back to the float v
    TokenWriter& quoted(const std::string& s);
    const std::string& text() const { return m_out; }
    std::string take() { return std::move(m_out); }

private:
    void sep() {
        if (!m_out.empty()) m_out += ' ';
    }
    std::string m_out;
};

// Reads tokens; every failure throws a text that says what was expected.
class TokenReader {
public:
    explicit TokenReader(const std::string& text) : m_text(text) {}
    bool atEnd();
    std::string word();
    long long integer();
    int int32();
    double number();
    // A number that may also be "nan", "inf" or "-inf" (journal arguments
    // are recorded as given, valid or not).
    double anyNumber();
    std::string quoted();
    bool boolean();  // 0 or 1
    void expectWord(const char* w);
    void expectEnd();
    size_t position() const { return m_pos; }

private:
    void skipBlanks();
    std::string rawToken(const char* what);
    const std::string& m_text;
    size_t m_pos = 0;
};

}  // namespace KERNEL
}  // namespace TOLVA
