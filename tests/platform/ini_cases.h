#pragma once
// Files and questions for the profile reader; under Wine the system's reader must agree.

#include <string>
#include <vector>

namespace ombrix::test {

struct ProfileCase {
    const char* name;
    std::string file;
    std::string section;
    std::string key;
    std::string expected;
};

inline std::vector<ProfileCase> profileCases() {
    const std::string x600(600, 'x'), x510(510, 'x'), x511(511, 'x');
    return {
        {"plain", "[Strings]\r\n0001=Ciao\r\n", "Strings", "0001", "Ciao"},
        {"section and key ignore case", "[STRINGS]\r\nAbc=1\r\n", "strings", "aBC", "1"},
        {"blanks around key and value", "[ S ]\r\n  k  =   v w  \r\n", "S", "k", "v w"},
        {"double quotes removed", "[S]\r\nk=\" padded \"\r\n", "S", "k", " padded "},
        {"single quotes removed", "[S]\r\nk='x'\r\n", "S", "k", "x"}, {"mixed quotes kept", "[S]\r\nk=\"x'\r\n", "S", "k", "\"x'"},
        {"key in another section", "[A]\r\nk=a\r\n[B]\r\nk=b\r\n", "B", "k", "b"},
        {"key before any section", "k=top\r\n[S]\r\nj=1\r\n", "S", "k", ""},
        {"first of two keys, not a comment", "[S]\r\n;k=no\r\nk=1\r\nk=2\r\n", "S", "k", "1"},
        {"equals inside value", "[S]\r\nk=a=b\r\n", "S", "k", "a=b"}, {"LF only, no final line break", "[S]\nk=v", "S", "k", "v"},
        {"cut at 511", "[S]\r\nk=" + x600 + "\r\n", "S", "k", x511},
        {"quoted 510", "[S]\r\nk=\"" + x510 + "\"\r\n", "S", "k", x510},
        {"Latin-1 bytes kept", "[S]\r\nk=citt\xE0 \x80\r\n", "S", "k", "citt\xE0 \x80"},
    };
}

}  // namespace ombrix::test
