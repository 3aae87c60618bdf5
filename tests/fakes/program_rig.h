#pragma once
// The program's parts on the controller's rig, with their event log. Profile 2, "Classe", in use,
// forbids gioco.exe, the window "Chat" and .giochi.example; the password is "segreta".
#include "app/program_host.h"
#include "fakes/controller_rig.h"
#include "fakes/fake_enforcement.h"

namespace ombrix::test {

struct ProgramRig : ControllerRig {
    ProgramRig() : ControllerRig(numberedTexts()) {
        sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Classe', -1);"
            "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (2, 'gioco.exe');"
            "INSERT INTO NomiFinestreVietate (IDProfilo, NomeFinestra) VALUES (2, 'Chat');"
            "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.giochi.example');"
            "UPDATE Opzioni SET IDProfiloInUso = 2, PasswordAdmin = 'segreta';");
        controller.setProfileLists(&enforcement);
        controller.setEvents(&events);
        enforcement.setEvents(&events);
        host.setEnforcement(&enforcement);
    }
    FakeDesktop windows{&journal};
    FakeKeyboard keyboard;
    FakeBrowsers browsers{processes, journal};
    FakeClock clock;
    FakeShell shell{journal};
    FakeEventLog eventLog;
    core::Events events{&eventLog, clock};
    enforce::VisitedSitesLog log{platform::realFileSystem(), clock, store.connection,
                                 [this] { return dir.file("Registro"); }, platform::pathSeparator()};
    platform::SharedProcessView processView{processes, clock, 500};
    core::Controller controller{machine(), store};
    app::ProgramHost host{{controller, view, timers, system, shell, platform::realFileSystem(), processView}};
    enforce::Enforcement enforcement{{store.connection, language, processes, windows, keyboard, browsers, browsers,
                                      clock, pump, timers, host, log}};
};

}  // namespace ombrix::test
