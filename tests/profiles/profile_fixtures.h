#pragma once
// What the profile tests share: a language file whose every message reads
// "T<id>", so a joined text shows which identifiers were shown, and every
// row of the tables a profile lives in.

#include <string>

#include "core/database.h"

namespace ombrix::test {

inline std::string numberedTexts() {
    std::string lng;
    for (int id = 1; id <= 340; ++id) {
        std::string key = std::to_string(id);
        key = std::string(4 - key.size(), '0') + key;
        lng += key + "=T" + key + "\r\n";
    }
    return lng;
}

inline std::string profileRows(core::Database& db) {
    std::string out;
    for (const char* table : {"Profili", "ProcessiVietati", "NomiFinestreVietate", "SitiVietatiConsentiti", "Opzioni"}) {
        core::Statement q = db.prepare(std::string("SELECT * FROM ") + table + " ORDER BY rowid;");
        while (q.step()) {
            for (int c = 0; c < q.columnCount(); ++c) out += q.column(c).toText() + "|";
            out += "\n";
        }
        out += "--\n";
    }
    return out;
}

}  // namespace ombrix::test
