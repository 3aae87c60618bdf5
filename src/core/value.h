#pragma once
// A value read from or written to the store. Empty (no row) and Null (a row
// whose column holds nothing) are kept apart, as the store's readers need.

#include <cstdint>
#include <string>
#include <variant>

namespace ombrix::core {

// Yes/no columns hold true as -1.
inline constexpr std::int64_t kTrue = -1;

class Value {
public:
    struct Empty {
        friend bool operator==(Empty, Empty) { return true; }
    };
    struct Null {
        friend bool operator==(Null, Null) { return true; }
    };

    Value() = default;
    static Value null() { return Value(Null{}); }
    Value(std::int64_t v) : data_(v) {}
    Value(int v) : data_(static_cast<std::int64_t>(v)) {}
    Value(double v) : data_(v) {}
    Value(std::string v) : data_(std::move(v)) {}
    Value(const char* v) : data_(std::string(v)) {}
    static Value boolean(bool b) { return Value(b ? kTrue : std::int64_t{0}); }

    [[nodiscard]] bool isEmpty() const { return std::holds_alternative<Empty>(data_); }
    [[nodiscard]] bool isNull() const { return std::holds_alternative<Null>(data_); }
    [[nodiscard]] bool isInteger() const { return std::holds_alternative<std::int64_t>(data_); }
    [[nodiscard]] bool isReal() const { return std::holds_alternative<double>(data_); }
    [[nodiscard]] bool isText() const { return std::holds_alternative<std::string>(data_); }

    // Conversions as the classic variant makes them: Empty and Null read as
    // 0 / "" / false; text holding a number converts.
    [[nodiscard]] std::int64_t toInteger() const;
    [[nodiscard]] double toReal() const;
    [[nodiscard]] std::string toText() const;
    [[nodiscard]] bool toBool() const { return toInteger() != 0; }

    friend bool operator==(const Value&, const Value&) = default;

private:
    explicit Value(Null n) : data_(n) {}

    std::variant<Empty, Null, std::int64_t, double, std::string> data_;
};

// The value, or the substitute when the value is Null ("" when none is given).
[[nodiscard]] Value valueOrDefault(const Value& value, const Value& substitute = Value(std::string()));

}  // namespace ombrix::core
