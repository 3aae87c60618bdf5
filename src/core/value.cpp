#include "core/value.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/text.h"

namespace ombrix::core {

std::int64_t Value::toInteger() const {
    if (const auto* i = std::get_if<std::int64_t>(&data_)) return *i;
    if (const auto* d = std::get_if<double>(&data_)) return static_cast<std::int64_t>(std::llround(*d));
    if (const auto* s = std::get_if<std::string>(&data_)) {
        const std::string_view t = trimBlanks(*s);
        std::int64_t v = 0;
        const auto [p, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
        if (ec == std::errc() && p == t.data() + t.size()) return v;
        return static_cast<std::int64_t>(std::llround(std::strtod(std::string(t).c_str(), nullptr)));
    }
    return 0;
}

double Value::toReal() const {
    if (const auto* i = std::get_if<std::int64_t>(&data_)) return static_cast<double>(*i);
    if (const auto* d = std::get_if<double>(&data_)) return *d;
    if (const auto* s = std::get_if<std::string>(&data_)) return std::strtod(s->c_str(), nullptr);
    return 0.0;
}

std::string Value::toText() const {
    if (const auto* s = std::get_if<std::string>(&data_)) return *s;
    if (const auto* i = std::get_if<std::int64_t>(&data_)) return std::to_string(*i);
    if (const auto* d = std::get_if<double>(&data_)) {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.15g", *d);
        return buf;
    }
    return {};
}

Value valueOrDefault(const Value& value, const Value& substitute) { return value.isNull() ? substitute : value; }

}  // namespace ombrix::core
