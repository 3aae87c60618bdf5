#pragma once
// The schedule's texts for a language file: each message reads "T<id>", each combo's empty entry kEmpty.

#include <string>

#include "fakes/fixtures.h"

namespace ombrix::test {

inline constexpr const char* kEmpty = "(nessuno)";

// The [Strings] lines, without the header.
inline std::string scheduleTexts() {
    std::string lng;
    for (int id = 250; id <= 295; ++id) {
        const std::string key = "0" + std::to_string(id);
        const bool emptyEntry = (id >= 261 && id <= 263) || (id >= 291 && id <= 294) || id == 259 || id == 273 || id == 275 || id == 285;
        lng += key + "=" + (emptyEntry ? std::string(kEmpty) : "T" + key) + "\r\n";
    }
    return lng + "0356=T0356\r\n0357=T0357\r\n0358=T0358\r\n";  // an empty fallback; cmdPeriodi's captions
}

inline void writeScheduleTexts(const TempDir& dir) { writeFile(dir.file("italian.lng"), "[Strings]\r\n" + scheduleTexts()); }

}  // namespace ombrix::test
