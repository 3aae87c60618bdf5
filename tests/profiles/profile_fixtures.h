#pragma once
// Every row of the tables a profile lives in, to show a refusal changed nothing.

#include <string>

#include "core/database.h"
#include "fakes/fixtures.h"

namespace ombrix::test {

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
