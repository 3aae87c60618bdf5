; The Ombrix installer: per machine, for one PC or, silently, for a room of them.
;
;   setup.exe [/S] [/PASSWORD=secret] [/D=folder]
;   uninstall.exe [/S] [/PURGE]
;
; A silent first install needs /PASSWORD=: a PC must never wait for the first
; pupil to choose the administrator password. The password is checked and
; hashed by ombrixctl on a copy of the delivered store before anything on the
; machine changes, and reaches it through a variable of this process's
; environment, never a file or a command line of its own.
;
; makensis -DVERSION=x.y.z -DBINDIR=<the Windows build's bin> -DOUTFILE=setup.exe ombrix.nsi

Unicode true
Target amd64-unicode
ManifestDPIAware true
RequestExecutionLevel admin
SetCompressor /SOLID lzma

!ifndef VERSION | BINDIR | OUTFILE
  !error "define VERSION, BINDIR and OUTFILE"
!endif

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Ombrix"
!define PROGRAM_KEY "SOFTWARE\Ombrix"
!define STORE_KEY "SOFTWARE\Ombrix\Opzioni"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define EVENT_SOURCE_KEY "SYSTEM\CurrentControlSet\Services\EventLog\Application\Ombrix"
!define SINGLE_INSTANCE "Local\Ombrix.SingleInstance"
!define PASSWORD_VARIABLE "OMBRIX_SETUP_PASSWORD"

!include MUI2.nsh
!include nsDialogs.nsh
!include LogicLib.nsh
!include FileFunc.nsh

Name "Ombrix"
OutFile "${OUTFILE}"
InstallDir "$PROGRAMFILES64\Ombrix"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"
BrandingText "Ombrix ${VERSION}"
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIFileVersion "${VERSION}.0"

Var StoreDir      ; the folder of the store the program uses, or will use
Var StoreExists   ; 1 when there is one already: an upgrade keeps it
Var Password      ; the administrator password of a first install
Var PasswordBox
Var ConfirmBox
Var Purge

!define MUI_ICON "${__FILEDIR__}/../src/app/win32/res/ombrix.ico"
!define MUI_UNICON "${__FILEDIR__}/../src/app/win32/res/ombrix.ico"
!define MUI_ABORTWARNING
; No "start now" box: the guard service the install starts starts the program.

!insertmacro MUI_PAGE_WELCOME
!define MUI_PAGE_CUSTOMFUNCTION_PRE SkipOnUpgrade
!insertmacro MUI_PAGE_DIRECTORY
Page custom PasswordPage PasswordLeave
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES

!insertmacro MUI_LANGUAGE "English"
!insertmacro MUI_LANGUAGE "Italian"
!include "${__FILEDIR__}/texts.nsh"

VIAddVersionKey /LANG=${LANG_ENGLISH} "ProductName" "Ombrix"
VIAddVersionKey /LANG=${LANG_ENGLISH} "CompanyName" "Ombrix"
VIAddVersionKey /LANG=${LANG_ENGLISH} "FileDescription" "Ombrix setup"
VIAddVersionKey /LANG=${LANG_ENGLISH} "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=${LANG_ENGLISH} "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=${LANG_ENGLISH} "LegalCopyright" "Ombrix"

; ---------------------------------------------------------------- shared

; The store the program will open: the folder it remembers, else the
; per-machine folder on the home drive (the system drive when the installer
; runs without a profile, as deployment tools run it).
!macro FindStore un
Function ${un}FindStore
  ReadRegStr $0 HKLM "${STORE_KEY}" "DataBase"
  ${If} $0 != ""
  ${AndIf} ${FileExists} "$0\DataBase.db"
    StrCpy $StoreDir $0
  ${Else}
    ReadEnvStr $0 HOMEDRIVE
    ${If} $0 == ""
      ReadEnvStr $0 SYSTEMDRIVE
    ${EndIf}
    StrCpy $StoreDir "$0\Ombrix\DataBase"
  ${EndIf}
  StrCpy $StoreExists 0
  ${If} ${FileExists} "$StoreDir\DataBase.db"
    StrCpy $StoreExists 1
  ${EndIf}
FunctionEnd
!macroend
!insertmacro FindStore ""
!insertmacro FindStore "un."

; The pages speak the program's language: the one LangSetting.ini beside an
; installed Ombrix names, when its file is there, else Italian for an
; Italian Windows display language and English for any other.
!macro ChooseLanguage un
Function ${un}ChooseLanguage
  System::Call 'kernel32::GetUserDefaultUILanguage() i .r0'
  IntOp $0 $0 & 0x3FF
  ${If} $0 = 0x10
    StrCpy $LANGUAGE ${LANG_ITALIAN}
  ${Else}
    StrCpy $LANGUAGE ${LANG_ENGLISH}
  ${EndIf}
  ClearErrors
  ReadINIStr $0 "$INSTDIR\LangSetting.ini" "Language" "CurrentLanguage"
  ${If} $0 == "italian"
  ${AndIf} ${FileExists} "$INSTDIR\italian.lng"
    StrCpy $LANGUAGE ${LANG_ITALIAN}
  ${ElseIf} $0 == "english"
  ${AndIf} ${FileExists} "$INSTDIR\english.lng"
    StrCpy $LANGUAGE ${LANG_ENGLISH}
  ${EndIf}
FunctionEnd
!macroend
!insertmacro ChooseLanguage ""
!insertmacro ChooseLanguage "un."

; Ends a running Ombrix: it refuses every close but the administrator's, so
; it is ended by force and the machine is given back afterwards. $0: 1 when
; it has gone (or never ran).
!macro EndOmbrix un
Function ${un}OmbrixRunning
  System::Call 'kernel32::OpenMutexW(i 0x00100000, i 0, w "${SINGLE_INSTANCE}") p .r1'
  ${If} $1 P<> 0
    System::Call 'kernel32::CloseHandle(p r1)'
    StrCpy $0 1
  ${Else}
    StrCpy $0 0
  ${EndIf}
FunctionEnd

Function ${un}EndOmbrix
  Call ${un}OmbrixRunning
  StrCpy $3 $0
  ; A program still starting holds no name yet: it goes by its image name too.
  nsExec::Exec '"$SYSDIR\taskkill.exe" /F /IM ombrix.exe'
  Pop $1
  ${If} $1 == 0
    StrCpy $3 1
  ${EndIf}
  ${If} $3 == 0
    StrCpy $0 1
    Return
  ${EndIf}
  ${For} $2 1 50
    Call ${un}OmbrixRunning
    ${If} $0 == 0
      StrCpy $0 1
      Return
    ${EndIf}
    Sleep 200
  ${Next}
  StrCpy $0 0
FunctionEnd
!macroend
!insertmacro EndOmbrix ""
!insertmacro EndOmbrix "un."

; ---------------------------------------------------------------- install

; Checks $Password with the program's own rules by setting it on a copy of
; the delivered store. $0: empty when accepted, else ombrixctl's message.
Function PreparePasswordStore
  SetOutPath "$PLUGINSDIR\ctl"
  File "${BINDIR}\ombrixctl.exe"
  File "${BINDIR}\italian.lng"
  File "${BINDIR}\english.lng"
  File "/oname=store.db" "${BINDIR}\DataBase\DataBase.db"
  StrCpy $1 $Password
  System::Call 'kernel32::SetEnvironmentVariableW(w "${PASSWORD_VARIABLE}", w r1)'
  nsExec::ExecToStack '"$PLUGINSDIR\ctl\ombrixctl.exe" --db "$PLUGINSDIR\ctl\store.db" password set --from-environment ${PASSWORD_VARIABLE}'
  Pop $0
  Pop $1
  System::Call 'kernel32::SetEnvironmentVariableW(w "${PASSWORD_VARIABLE}", p 0)'
  SetOutPath "$TEMP"
  ${If} $0 == 0
    StrCpy $0 ""
  ${ElseIf} $1 == ""
    StrCpy $0 "ombrixctl: exit $0"
  ${Else}
    Call Utf8Output
    StrCpy $0 $1
  ${EndIf}
FunctionEnd

; ombrixctl writes UTF-8, which nsExec reads in the ANSI code page: $1 is
; turned back into its bytes and read again as UTF-8.
Function Utf8Output
  System::Call 'kernel32::WideCharToMultiByte(i 0, i 0, w r1, i -1, p 0, i 0, p 0, p 0) i .r2'
  ${If} $2 > 0
    System::Alloc $2
    Pop $3
    System::Call 'kernel32::WideCharToMultiByte(i 0, i 0, w r1, i -1, p r3, i r2, p 0, p 0)'
    System::Call 'kernel32::MultiByteToWideChar(i 65001, i 0, p r3, i -1, w .r1, i ${NSIS_MAX_STRLEN})'
    System::Free $3
  ${EndIf}
FunctionEnd

; /PASSWORD= from the command line as Windows splits it, so that a password
; with blanks may be quoted in either of the usual ways.
Function PasswordOption
  StrCpy $Password ""
  System::Call 'kernel32::GetCommandLineW() p .r0'
  System::Call 'shell32::CommandLineToArgvW(p r0, *i .r1) p .r2'
  ${If} $2 P= 0
    Return
  ${EndIf}
  IntOp $1 $1 - 1
  ${For} $3 1 $1
    IntPtrOp $4 $3 * 8
    IntPtrOp $4 $2 + $4
    System::Call '*$4(p .r5)'
    System::Call '*$5(&w${NSIS_MAX_STRLEN} .r6)'
    StrCpy $7 $6 10
    ${If} $7 == "/PASSWORD="
      StrCpy $Password $6 "" 10
    ${EndIf}
  ${Next}
  System::Call 'kernel32::LocalFree(p r2)'
FunctionEnd

Function .onInit
  SetRegView 64
  Call ChooseLanguage
  InitPluginsDir
  Call FindStore
  Call PasswordOption

  Call OmbrixRunning
  ${If} $0 == 1
  ${AndIfNot} ${Silent}
    MessageBox MB_OKCANCEL|MB_ICONEXCLAMATION "$(EndRunning)" /SD IDOK IDOK +2
    Quit
  ${EndIf}

  ${If} ${Silent}
    ${If} $StoreExists == 0
    ${AndIf} $Password == ""
      SetErrorLevel 2
      Quit
    ${EndIf}
    ${If} $Password != ""
      Call PreparePasswordStore
      ${If} $0 != ""
        SetErrorLevel 2
        Quit
      ${EndIf}
    ${EndIf}
  ${EndIf}
FunctionEnd

Function SkipOnUpgrade
  ; An installed Ombrix is upgraded where it is.
  ReadRegStr $0 HKLM "${UNINSTALL_KEY}" "InstallLocation"
  ${If} $0 != ""
    Abort
  ${EndIf}
FunctionEnd

Function PasswordPage
  ; The store of an upgrade keeps its password.
  ${If} $StoreExists == 1
    Abort
  ${EndIf}
  !insertmacro MUI_HEADER_TEXT "$(PasswordTitle)" "$(PasswordSubtitle)"
  nsDialogs::Create 1018
  Pop $0
  ${NSD_CreateLabel} 0 0 100% 30u "$(PasswordExplain)"
  Pop $0
  ${NSD_CreateLabel} 0 36u 100% 10u "$(PasswordLabel)"
  Pop $0
  ${NSD_CreatePassword} 0 48u 60% 13u ""
  Pop $PasswordBox
  SendMessage $PasswordBox ${EM_LIMITTEXT} 256 0
  ${NSD_CreateLabel} 0 68u 100% 10u "$(ConfirmLabel)"
  Pop $0
  ${NSD_CreatePassword} 0 80u 60% 13u ""
  Pop $ConfirmBox
  SendMessage $ConfirmBox ${EM_LIMITTEXT} 256 0
  ${NSD_SetFocus} $PasswordBox
  nsDialogs::Show
FunctionEnd

Function PasswordLeave
  ${NSD_GetText} $PasswordBox $0
  ${NSD_GetText} $ConfirmBox $1
  ${If} $0 S!= $1
    MessageBox MB_OK|MB_ICONEXCLAMATION "$(PasswordsDiffer)"
    ${NSD_SetText} $ConfirmBox ""
    SendMessage $HWNDPARENT ${WM_NEXTDLGCTL} $ConfirmBox 1
    Abort
  ${EndIf}
  ; The program's own rules (blank, length, control characters) decide.
  StrCpy $Password $0
  Call PreparePasswordStore
  ${If} $0 != ""
    MessageBox MB_OK|MB_ICONEXCLAMATION "$0"
    StrCpy $Password ""
    SendMessage $HWNDPARENT ${WM_NEXTDLGCTL} $PasswordBox 1
    Abort
  ${EndIf}
FunctionEnd

Section "Ombrix"
  Call EndOmbrix
  ${If} $0 == 0
    MessageBox MB_OK|MB_ICONSTOP "$(StillRunning)" /SD IDOK
    SetErrorLevel 3
    Abort
  ${EndIf}

  SetOutPath "$INSTDIR"
  File "${BINDIR}\ombrix.exe"
  File "${BINDIR}\ombrixctl.exe"
  File "${BINDIR}\metrokiller.exe"
  File "${BINDIR}\ombrixguard.exe"
  File "${BINDIR}\italian.lng"
  File "${BINDIR}\english.lng"

  ; A store found later without a password was replaced: it is no first
  ; start (the program reads this from the machine's key, which a pupil's
  ; account cannot write).
  ${If} $StoreExists == 0
  ${OrIf} $Password != ""
    WriteRegStr HKLM "${STORE_KEY}" "PasswordScelta" "1"
  ${EndIf}
  ; On a marked machine only this names the store: a user's own setting is
  ; never read for it.
  WriteRegStr HKLM "${STORE_KEY}" "DataBase" "$StoreDir"

  ${If} $StoreExists == 0
    ; The delivered store, already holding the administrator's password.
    CreateDirectory "$StoreDir"
    CopyFiles /SILENT "$PLUGINSDIR\ctl\store.db" "$StoreDir\DataBase.db"
    ; And its copy, which a lost store falls back on.
    CopyFiles /SILENT "$PLUGINSDIR\ctl\store.copia.db" "$StoreDir\DataBase.copia.db"
    ${IfNot} ${FileExists} "$StoreDir\DataBase.db"
      MessageBox MB_OK|MB_ICONSTOP "$(NoStore) $StoreDir" /SD IDOK
      SetErrorLevel 4
    ${EndIf}
  ${Else}
    ; An upgrade keeps the store and brings it to this version's shape; a
    ; refused upgrade leaves it as it was, and the program says so at start.
    nsExec::ExecToStack '"$INSTDIR\ombrixctl.exe" --db "$StoreDir\DataBase.db" upgrade'
    Pop $0
    Pop $1
    ${If} $0 != 0
      MessageBox MB_OK|MB_ICONEXCLAMATION "$(UpgradeFailed)$\r$\n$1" /SD IDOK
      SetErrorLevel 5
    ${EndIf}
    ${If} $Password != ""
      StrCpy $1 $Password
      System::Call 'kernel32::SetEnvironmentVariableW(w "${PASSWORD_VARIABLE}", w r1)'
      nsExec::Exec '"$INSTDIR\ombrixctl.exe" --db "$StoreDir\DataBase.db" password set --from-environment ${PASSWORD_VARIABLE}'
      Pop $0
      System::Call 'kernel32::SetEnvironmentVariableW(w "${PASSWORD_VARIABLE}", p 0)'
      ${If} $0 != 0
        SetErrorLevel 2
      ${EndIf}
    ${EndIf}
  ${EndIf}

  ; Only administrators and the system may change the store; the pupil's
  ; session may write the log folder beside it. Set again on every upgrade, in
  ; case a list was changed by hand.
  ${If} ${FileExists} "$StoreDir\DataBase.db"
    nsExec::ExecToStack '"$INSTDIR\ombrixctl.exe" --db "$StoreDir\DataBase.db" protect'
    Pop $0
    Pop $1
    ${If} $0 != 0
      Call Utf8Output
      MessageBox MB_OK|MB_ICONEXCLAMATION "$(ProtectFailed)$\r$\n$1" /SD IDOK
      SetErrorLevel 6
    ${EndIf}
  ${EndIf}

  WriteUninstaller "$INSTDIR\uninstall.exe"
  SetShellVarContext all
  CreateShortCut "$SMPROGRAMS\Ombrix.lnk" "$INSTDIR\ombrix.exe"

  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "Ombrix"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Ombrix"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "URLInfoAbout" "https://www.ombrix.example"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\ombrix.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0

  ; The program's events in the Application log: their texts are in ombrix.exe.
  ; Errors, warnings and information (1 + 2 + 4).
  WriteRegExpandStr HKLM "${EVENT_SOURCE_KEY}" "EventMessageFile" "$INSTDIR\ombrix.exe"
  WriteRegDWORD HKLM "${EVENT_SOURCE_KEY}" "TypesSupported" 7

  ; The guard service: started now, and at every start of Windows, it starts
  ; the program in every session in place of the Run entries.
  nsExec::ExecToStack '"$INSTDIR\ombrixguard.exe" install'
  Pop $0
  Pop $1
  ${If} $0 != 0
    Call Utf8Output
    MessageBox MB_OK|MB_ICONEXCLAMATION "$(GuardNotInstalled)$\r$\n$1" /SD IDOK
    SetErrorLevel 8
  ${EndIf}
SectionEnd

; ---------------------------------------------------------------- uninstall

Function un.onInit
  SetRegView 64
  Call un.ChooseLanguage
  Call un.FindStore
  ${GetParameters} $R0
  ClearErrors
  ${GetOptions} $R0 "/PURGE" $R1
  ${If} ${Errors}
    StrCpy $Purge 0
  ${Else}
    StrCpy $Purge 1
  ${EndIf}
FunctionEnd

Section "Uninstall"
  ; The guard first, or it starts the program again as soon as it is ended.
  ${If} ${FileExists} "$INSTDIR\ombrixguard.exe"
    nsExec::ExecToStack '"$INSTDIR\ombrixguard.exe" remove'
    Pop $0
    Pop $1
    ${If} $0 != 0
      MessageBox MB_OK|MB_ICONSTOP "$(GuardNotRemoved)$\r$\n$1" /SD IDOK
      SetErrorLevel 7
      Abort
    ${EndIf}
  ${EndIf}
  ; Held by a program of this session: its journal holds this user's settings.
  Call un.OmbrixRunning
  StrCpy $R9 $0
  Call un.EndOmbrix
  ${If} $0 == 0
    MessageBox MB_OK|MB_ICONSTOP "$(StillRunning)" /SD IDOK
    SetErrorLevel 3
    Abort
  ${EndIf}
  ; Ombrix ran in this session, so its journal holds this user's settings:
  ; give them back now, as its own exit would have. A journal of another
  ; user's session stays beside the store for `ombrixctl restore` there.
  ${If} $R9 == 1
    nsExec::ExecToStack '"$INSTDIR\ombrixctl.exe" --db "$StoreDir\DataBase.db" restore'
    Pop $0
    Pop $1
    DetailPrint $1
  ${EndIf}

  Delete "$INSTDIR\ombrix.exe"
  Delete "$INSTDIR\ombrixctl.exe"
  Delete "$INSTDIR\metrokiller.exe"
  Delete "$INSTDIR\ombrixguard.exe"
  Delete "$INSTDIR\italian.lng"
  Delete "$INSTDIR\english.lng"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"

  SetShellVarContext all
  Delete "$SMPROGRAMS\Ombrix.lnk"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
  ; The program's own autostart entries would start nothing.
  DeleteRegValue HKLM "${RUN_KEY}" "Ombrix"
  DeleteRegValue HKCU "${RUN_KEY}" "Ombrix"
  ; The events already written stay in the log; without the source the
  ; viewer shows their data without the text around it.
  DeleteRegKey HKLM "${EVENT_SOURCE_KEY}"

  ; The store and the settings that find it stay for a later install,
  ; unless the administrator asked for everything to go.
  ${If} $Purge == 1
    Delete "$StoreDir\DataBase.db"
    Delete "$StoreDir\DataBase.copia.db"
    Delete "$StoreDir\DataBase.copia.db-journal"
    Delete "$StoreDir\Ripristino.journal"
    Delete "$StoreDir\Ripristino.journal.damaged"
    RMDir /r "$StoreDir\Registro"
    RMDir "$StoreDir"
    RMDir "$StoreDir\.."
    DeleteRegKey HKLM "${PROGRAM_KEY}"
  ${EndIf}
SectionEnd
