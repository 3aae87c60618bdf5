#pragma once
// A message of the language file, by its key in the [Strings] section. The
// program names each one it shows once, in support/messages.h; a message box
// request carries it so that ombrixctl can print the number before the text.

#include <cstddef>
#include <ostream>
#include <string_view>

namespace ombrix::platform {

class MessageId {
public:
    // No message: a box whose text comes from elsewhere, or no refusal.
    constexpr MessageId() = default;
    // Only a literal of four digits, checked as the program compiles.
    template <std::size_t N>
    consteval explicit MessageId(const char (&number)[N]) : number_(number, N - 1) {
        if (N != 5) throw "a message number has four digits";
        for (const char c : number_) {
            if (c < '0' || c > '9') throw "a message number has four digits";
        }
    }

    [[nodiscard]] constexpr std::string_view number() const { return number_; }
    constexpr explicit operator bool() const { return !number_.empty(); }

    friend constexpr bool operator==(MessageId, MessageId) = default;
    // For what records or prints the number: ombrixctl's output, the tests' fakes.
    friend constexpr bool operator==(MessageId id, std::string_view number) { return id.number_ == number; }
    friend std::ostream& operator<<(std::ostream& out, MessageId id) { return out << id.number_; }

private:
    std::string_view number_;
};

}  // namespace ombrix::platform
