// process_ender IMAGE: ends every process named IMAGE (letter case ignored)
// and prints how many; exit status 0 when it ended at least one.
#include <windows.h>
#include <tlhelp32.h>

#include <cstdio>

int wmain(int argc, wchar_t** argv) {
    if (argc != 2) return 2;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 3;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    int ended = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (lstrcmpiW(entry.szExeFile, argv[1]) != 0) continue;
        if (HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, entry.th32ProcessID)) {
            if (TerminateProcess(process, 1)) ++ended;
            CloseHandle(process);
        }
    }
    CloseHandle(snapshot);
    std::printf("%d\n", ended);
    return ended > 0 ? 0 : 1;
}
