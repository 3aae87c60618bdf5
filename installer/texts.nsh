; The installer's own texts, in the languages of its pages.

LangString EndRunning ${LANG_ENGLISH} "Ombrix is running on this PC. Setup will end it to replace its files; the machine's settings are given back when it starts again.$\r$\n$\r$\nEnd Ombrix and go on?"
LangString EndRunning ${LANG_ITALIAN} "Ombrix è in esecuzione su questo PC. L'installazione lo chiuderà per sostituirne i file; le impostazioni del computer vengono ripristinate al prossimo avvio.$\r$\n$\r$\nChiudere Ombrix e continuare?"

LangString StillRunning ${LANG_ENGLISH} "Ombrix could not be ended. Nothing was changed."
LangString StillRunning ${LANG_ITALIAN} "Non è stato possibile chiudere Ombrix. Non è stato modificato nulla."

LangString PasswordTitle ${LANG_ENGLISH} "Administrator password"
LangString PasswordTitle ${LANG_ITALIAN} "Password dell'amministratore"

LangString PasswordSubtitle ${LANG_ENGLISH} "Only who knows it can change or end Ombrix."
LangString PasswordSubtitle ${LANG_ITALIAN} "Solo chi la conosce può modificare o chiudere Ombrix."

LangString PasswordExplain ${LANG_ENGLISH} "Choose the password that opens Ombrix's administrator controls on this PC. Type it twice; letter case counts."
LangString PasswordExplain ${LANG_ITALIAN} "Scegliere la password che apre i comandi dell'amministratore di Ombrix su questo PC. Digitarla due volte; maiuscole e minuscole contano."

LangString PasswordLabel ${LANG_ENGLISH} "Password:"
LangString PasswordLabel ${LANG_ITALIAN} "Password:"

LangString ConfirmLabel ${LANG_ENGLISH} "Type it again:"
LangString ConfirmLabel ${LANG_ITALIAN} "Conferma password:"

LangString PasswordsDiffer ${LANG_ENGLISH} "The two passwords differ. Type the same password in both boxes."
LangString PasswordsDiffer ${LANG_ITALIAN} "Le due password non coincidono. Digitare la stessa password in entrambe le caselle."

LangString NoStore ${LANG_ENGLISH} "The Ombrix database could not be written to"
LangString NoStore ${LANG_ITALIAN} "Impossibile scrivere il database di Ombrix in"

LangString UpgradeFailed ${LANG_ENGLISH} "The Ombrix database could not be upgraded and was left as it was:"
LangString UpgradeFailed ${LANG_ITALIAN} "Non è stato possibile aggiornare il database di Ombrix, che è rimasto invariato:"

LangString ProtectFailed ${LANG_ENGLISH} "Setup could not set who may change the Ombrix database folder and its log folder; a pupil may still be able to change them:"
LangString ProtectFailed ${LANG_ITALIAN} "Non è stato possibile impostare chi può modificare la cartella del database di Ombrix e la sua cartella del registro; un alunno potrebbe ancora modificarle:"

LangString GuardNotRemoved ${LANG_ENGLISH} "The Ombrix guard service could not be stopped and removed, so Ombrix could not be ended. Nothing was changed."
LangString GuardNotRemoved ${LANG_ITALIAN} "Non è stato possibile fermare e rimuovere il servizio di guardia di Ombrix, quindi non è stato possibile chiudere Ombrix. Non è stato modificato nulla."

LangString GuardNotInstalled ${LANG_ENGLISH} "The Ombrix guard service could not be installed: Ombrix is installed, but a pupil may be able to end it until the service is installed (ombrixguard.exe install, as an administrator)."
LangString GuardNotInstalled ${LANG_ITALIAN} "Non è stato possibile installare il servizio di guardia di Ombrix: Ombrix è installato, ma un alunno potrebbe riuscire a chiuderlo finché il servizio non viene installato (ombrixguard.exe install, come amministratore)."
