-- The delivered empty store: today's whole structure, one profile that
-- enforces nothing, the options row naming it, and the one time-slot row.
-- The columns name no collation, so any SQLite tool can change the file; the
-- program compares text without regard to case in its own statements.
-- Yes/no columns hold true as -1.

CREATE TABLE Profili (
    IDProfilo INTEGER NOT NULL UNIQUE,
    Profilo TEXT(255),
    StampantePredefinita TEXT(255),
    PaginaPredefinita TEXT(255),
    BloccaDownload BIT,
    SitiProibiti BIT,
    Kiosk BIT,
    TastoStartDisabilitato BIT,
    UtilizzaBrowserInterno BIT,
    NascondiMessaggiNotifica BIT,
    ProtezioneMassima BIT,
    ApriPaginaInizialeATuttoSchermo BIT,
    Gestito BIT
);

CREATE TABLE ProcessiVietati (
    IDProcesso INTEGER PRIMARY KEY AUTOINCREMENT,
    IDProfilo INTEGER,
    Processo TEXT(255)
);
CREATE INDEX ProcessiVietatiProfilo ON ProcessiVietati (IDProfilo, Processo);

CREATE TABLE NomiFinestreVietate (
    IDNomeFinestra INTEGER PRIMARY KEY AUTOINCREMENT,
    IDProfilo INTEGER,
    NomeFinestra TEXT(255)
);
CREATE INDEX NomiFinestreVietateProfilo ON NomiFinestreVietate (IDProfilo, NomeFinestra);

CREATE TABLE SitiVietatiConsentiti (
    IDSito INTEGER PRIMARY KEY AUTOINCREMENT,
    IDProfilo INTEGER,
    Sito TEXT(255)
);
CREATE INDEX SitiVietatiConsentitiProfilo ON SitiVietatiConsentiti (IDProfilo, Sito);

CREATE TABLE Opzioni (
    IDProfiloInUso INTEGER,
    PasswordAdmin TEXT(255),
    LogSiti BIT,
    FasceOrarie BIT,
    TastieraVirtuale BIT,
    NoPopup BIT,
    NoStampa BIT
);

CREATE TABLE Clienti (
    IDProfilo INTEGER
);

CREATE TABLE LogSiti(DataOra DateTime, URL Text(255));
CREATE INDEX IF NOT EXISTS LogSitiDataOra ON LogSiti (DataOra);

CREATE TABLE ImportGestito(Origine Text, Impronta Text, File Text, Dimensione Long, Modificato Long, SHA256 Text);

CREATE TABLE Fasce(Fascia1Dalle DateTime Null, Fascia1Alle DateTime Null, Fascia1Profilo Long Null, Fascia2Dalle DateTime Null, Fascia2Alle DateTime Null, Fascia2Profilo Long Null, Fascia3Dalle DateTime Null, Fascia3Alle DateTime Null, Fascia3Profilo Long Null, ProfiloFasceNonDefinite Long Null);

INSERT INTO Profili (IDProfilo, Profilo, StampantePredefinita, PaginaPredefinita, BloccaDownload, SitiProibiti,
                     Kiosk, TastoStartDisabilitato, UtilizzaBrowserInterno, NascondiMessaggiNotifica,
                     ProtezioneMassima, ApriPaginaInizialeATuttoSchermo)
VALUES (1, 'Nessuna restrizione', '', '', 0, -1, 0, 0, 0, 0, 0, 0);

INSERT INTO Opzioni (IDProfiloInUso, PasswordAdmin, LogSiti, FasceOrarie, TastieraVirtuale)
VALUES (1, '', 0, 0, 0);

INSERT INTO Fasce VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
