#include "entry/TMail.h"

#include "address/AdressDB.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/ProcessWait.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "config/AppHandle.h"
#include "entry/MailInterfaceTable.h"
#include "entry/StreamAdapter.h"
#include "entry/UiLoader.h"
#include "entry/WindowWiring.h"

#include <QDir>
#include <functional>

namespace kalvex {

namespace {

const QString kBVZugriff = QStringLiteral("BVZugriff");
const QString kDoFinalize = QStringLiteral("DoFinalize");

QStringList splitAtSemicolon(const QString& text)
{
    return NonEmptyTrimmed(text.split(QLatin1Char(';')));
}

// Runs the clean-up of a window-opening call however the call ends.
class TCleanupGuard {
public:
    explicit TCleanupGuard(std::function<void()> cleanup) : FCleanup(std::move(cleanup)) {}
    ~TCleanupGuard() { FCleanup(); }
    TCleanupGuard(const TCleanupGuard&) = delete;
    TCleanupGuard& operator=(const TCleanupGuard&) = delete;

private:
    std::function<void()> FCleanup;
};

// Creating kinds and templates needs the host program that InitInterface names.
[[noreturn]] void throwNoProgID()
{
    throw EKalvex(QStringLiteral("OrvanProgID nicht initialisiert (InitInterface)"));
}

// A record stream of another version leaves what the module holds untouched.
bool isVersion1Record(const QByteArray& bytes)
{
    TStreamReader reader(bytes);
    return bytes.size() >= 4 && reader.ReadInteger() == 1;
}

[[noreturn]] void throwNotInitialised()
{
    throw EKalvex(Tx(1814, "Das E-Mail-Modul ist nicht initialisiert: InitInterface wurde nicht aufgerufen "
                           "oder die Datenbank ist nicht verfügbar."));
}

// A window that cannot open says why before the method returns; the host
// still reads the same text through KalvexLastError.
template <typename Open>
decltype(auto) shownOnFailure(Open&& open)
{
    try {
        return open();
    } catch (const EKalvex& e) {
        ShowFailure(e.message());
        throw;
    }
}

}  // namespace

QStringList SplitRecipientsText(const QString& text)
{
    return splitAtSemicolon(text);
}

QStringList SplitAttachmentsText(const QString& text)
{
    return splitAtSemicolon(text);
}

QUuid ParseGuidText(const QString& text)
{
    return text.trimmed().isEmpty() ? QUuid() : StringToGuid(text);
}

// Objects of the host that are alive. The process-wide objects (data
// module, configuration, the application of the UI library) belong to all
// of them: only the last one to go tears them down.
std::atomic<int>& TMail::liveObjects()
{
    static std::atomic<int> count{0};
    return count;
}

TMail::TMail() : FCom{{MailInterfaceVtbl()}, this}
{
    UiLoaderInitialize();
    TConfig::Ensure().InitMailServer();
    readDoFinalize();
    ++liveObjects();
}

TMail::~TMail()
{
    if (--liveObjects() > 0)
        return;
    TDatenModul::Free();
    finalizeOrSkipOnce();
    TConfig::Free();
    TLang::Free();
}

TMail* TMail::FromInterface(iEMailV6* iface)
{
    return reinterpret_cast<ComObject*>(iface)->owner;
}

uint32_t TMail::Release()
{
    const uint32_t left = --FRefCount;
    if (left == 0)
        delete this;
    return left;
}

void TMail::readDoFinalize()
{
    const TIniFile ini(TConfig::Ensure().ConfigIniFileName());
    doFinalize = ini.ReadBool(kBVZugriff, kDoFinalize, true);
}

// The skip is one-shot: the key is set back so the next destruction finalises.
void TMail::finalizeOrSkipOnce()
{
    if (doFinalize) {
        UiLoaderFinalize();
        return;
    }
    try {
        TIniFile ini(TConfig::Ensure().ConfigIniFileName());
        ini.WriteBool(kBVZugriff, kDoFinalize, true);
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, e.message());
    }
}

void TMail::setLanguage(int32_t lang)
{
    TConfig& config = TConfig::Ensure();
    TLang& tl = TLang::Install(std::make_unique<TLang>(config.CommonFolder04()));
    tl.SetLanguage(lang);
    if (!tl.LoadError().isEmpty())
        ShowFailure(tl.LoadError());
    FLanguageCode = tl.GetCurrentLangCode();
    config.SetCurrLangCode(FLanguageCode);
    if (TDatenModul* module = TDatenModul::Instance())
        module->SetListLanguage(FLanguageCode);
}

void TMail::openAdressDB()
{
    const TConfig& config = TConfig::Ensure();
    FAdressDBWrapper = std::make_unique<TAdressDB>(config.FPKZPath);
    FAdressDBWrapper->Load(config.FServerDBIniDir, QStringLiteral("AdressDB"), config.FVersion);
}

void TMail::prepare(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                    int32_t lang, int32_t version)
{
    FSavedAppHandle = ApplicationHandle();
    TConfig& config = TConfig::Ensure();
    config.SetVersion(version);
    config.FServerDBIniDir = serverDBIniDir;
    config.FSektionsName = sektionsName;
    config.FCurrLangCode = FLanguageCode;
    openAdressDB();
    TDatenModul::Free();   // the previous session's log ends before this one starts
    TDatenModul::Install(std::make_unique<TDatenModul>(QString(), ProcessWaitWindow().get(), &ModuleMessages()));
    setLanguage(lang);
    SetApplicationHandle(appHandle);
}

void TMail::cleanup()
{
    SetApplicationHandle(FSavedAppHandle);
    FAdressDBWrapper.reset();
    TLang::Free();
}

void TMail::ShowVerteilerForm(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                              const QString& betreff, const QString& body, const QString& empfaenger,
                              const QString& /*weitere*/, int32_t lang, int32_t version)
{
    const TCleanupGuard guard([this] { cleanup(); });
    shownOnFailure([&] { prepare(appHandle, serverDBIniDir, sektionsName, lang, version); });
    TDistributionWindowSetup setup;
    setup.subject = betreff;
    setup.body = body;
    setup.lang = FLanguageCode;
    setup.adr = FAdressDBWrapper.get();
    for (const QString& address : SplitRecipientsText(empfaenger)) {
        setup.recipients << TComposeRecipient{address, {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn};
        requireDatenModul().InsertTempEmpf(address, QString(), QString(), 0);
    }
    RunDistributionWindow(setup);
}

void TMail::ShowVerteilerFormLeer(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                                  int32_t lang, const QString& startText, int32_t version)
{
    const TCleanupGuard guard([this] { cleanup(); });
    shownOnFailure([&] { prepare(appHandle, serverDBIniDir, sektionsName, lang, version); });
    TDistributionWindowSetup setup;
    setup.startText = startText;
    setup.emptyMode = true;
    setup.lang = FLanguageCode;
    setup.adr = FAdressDBWrapper.get();
    RunDistributionWindow(setup);
}

void TMail::ShowMailAdrVerwaltung(uintptr_t appHandle, const QString& serverDBIniDir, const QString& sektionsName,
                                  int32_t lang, int32_t version)
{
    const TCleanupGuard guard([this] { cleanup(); });
    shownOnFailure([&] { prepare(appHandle, serverDBIniDir, sektionsName, lang, version); });
    RunAddressManagement(FAdressDBWrapper.get());
}

// Deliberately unlike the other methods: the handle is installed after the
// window has closed, and no earlier handle is remembered.
void TMail::ShowMailAdrVerwaltungVersion2(uintptr_t appHandle, int32_t lang)
{
    shownOnFailure([] { requireDatenModul(); });
    setLanguage(lang);
    openAdressDB();
    RunAddressManagement(FAdressDBWrapper.get());
    SetApplicationHandle(appHandle);
    FAdressDBWrapper.reset();
    TLang::Free();
}

namespace {

TEmpfaengerListe readRecipients(IStream* stream)
{
    TEmpfaengerListe recipients;
    if (stream) {
        const QByteArray bytes = ReadAllFromStream(stream);
        TStreamReader reader(bytes);
        recipients.LoadFromStream(reader);
    }
    return recipients;
}

}  // namespace

// The host's input is checked before anything is opened; the window needs
// the store of InitInterface, or its drafts and sent mails would be lost.
int32_t TMail::ShowVerteilerFormTemplate(uintptr_t appHandle, int32_t lang, const QString& betreff,
                                         const QString& body, IStream* empfaenger, IStream* datenfelder,
                                         const QString& anhaenge, const QString& artGuid,
                                         const QString& vorlageGuid, QUuid* selected)
{
    TDistributionWindowSetup setup;
    setup.art = ParseGuidText(artGuid);
    setup.vorlage = ParseGuidText(vorlageGuid);
    const TEmpfaengerListe recipients = readRecipients(empfaenger);
    TDatenModul& module = shownOnFailure([]() -> TDatenModul& { return requireDatenModul(); });
    FSavedAppHandle = ApplicationHandle();
    const TCleanupGuard guard([this] { cleanup(); });
    SetApplicationHandle(appHandle);
    setLanguage(lang);
    openAdressDB();
    SetDatenfelder(datenfelder);
    setup.subject = betreff;
    setup.body = body;
    setup.felder = &FFelder;
    setup.lang = FLanguageCode;
    setup.adr = FAdressDBWrapper.get();
    for (const auto& recipient : recipients) {
        const TRecipientRow row = ResolveRecipient(*FAdressDBWrapper, *recipient);
        setup.recipients << TComposeRecipient{row.email, row.fullName, row.company, 0, 0, 0,
                                              static_cast<TEmpfaengerTyp>(row.typ), row.person};
        module.InsertTempEmpf(row.email, row.fullName, row.company, 0);
    }
    setup.attachments = SplitAttachmentsText(anhaenge);
    const TDistributionWindowResult result = RunDistributionWindow(setup);
    if (selected)
        *selected = result.selectedVorlage;
    return result.exitCode;
}

// An old store that could not be converted is told in a box as well: the
// host may not show the error it gets.
std::unique_ptr<TDatenModul> TMail::openDatenModul(const QString& databaseFolder)
{
    try {
        return std::make_unique<TDatenModul>(databaseFolder, ProcessWaitWindow().get(), &ModuleMessages());
    } catch (const EStoreNotConverted& e) {
        ShowFailure(e.message());
        throw;
    }
}

TDatenModul& TMail::requireDatenModul()
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        throwNotInitialised();
    return *module;
}

// A catalogue of another version would read as an empty one and wipe the
// kind's fields: it is refused, and the kind stays as it is.
TFelder TMail::readFelder(IStream* stream, const QUuid& art)
{
    TFelder felder;
    if (!stream)
        return felder;
    const QByteArray bytes = ReadAllFromStream(stream);
    if (!isVersion1Record(bytes))
        throw EKalvex(Tx(4403, "Der Feldkatalog hat ein unbekanntes Format; die Vorlageart %1 bleibt unverändert.")
                          .arg(GuidToString(art)));
    TStreamReader reader(bytes);
    felder.LoadFromStream(reader);
    return felder;
}

void TMail::writeRecord(IStream* stream, const std::function<void(TStreamWriter&)>& write)
{
    TStreamWriter writer;
    write(writer);
    WriteAllToStream(stream, writer.Data());
}

// The store's folder must be named, and absolute: a store in whatever
// folder the host happens to run in would be lost to the next start.
void TMail::InitInterface(const QString& databaseFolder, const QString& serverDBIniDir, const QString& sektionsName,
                          int32_t version, uint8_t orvanProgID)
{
    if (!QDir::isAbsolutePath(databaseFolder.trimmed()))
        throw EKalvex(Tx(4404, "InitInterface: Es wurde kein Datenbankordner mit vollständigem Pfad angegeben (\"%1\").")
                          .arg(databaseFolder));
    TConfig& config = TConfig::Ensure();
    config.SetVersion(version);
    config.FServerDBIniDir = serverDBIniDir;
    config.FSektionsName = sektionsName;
    config.FCurrLangCode = FLanguageCode;
    TDatenModul::Free();
    TDatenModul& module = TDatenModul::Install(openDatenModul(databaseFolder.trimmed()));
    module.FOrvanProgID = orvanProgID;
    module.SetListLanguage(FLanguageCode);
    module.EnsureGeneralKind();
    module.LoadProgrammVorlageListeFromDB();
}

void TMail::SetDatenfelder(IStream* stream)
{
    if (!stream)
        return;
    const QByteArray bytes = ReadAllFromStream(stream);
    if (!isVersion1Record(bytes))
        return;
    TStreamReader reader(bytes);
    TFelder felder;
    felder.LoadFromStream(reader);
    FFelder = std::move(felder);
    if (TDatenModul* module = TDatenModul::Instance())
        module->FFelder.LoadFromBytes(FFelder.SaveToBytes());
}

void TMail::LoadEMailListe(IStream* stream)
{
    if (!stream)
        return;
    TDatenModul& module = requireDatenModul();
    module.LoadEMailListeFromDB(true);
    writeRecord(stream, [&](TStreamWriter& w) { module.FEMailListe.SaveToStream(w); });
}

void TMail::LoadVorlageArtListe(IStream* stream)
{
    if (!stream)
        return;
    TDatenModul& module = requireDatenModul();
    writeRecord(stream, [&](TStreamWriter& w) { module.FProgrammVorlageArtListe.SaveToStream(w); });
}

void TMail::LoadVorlageListe(IStream* stream)
{
    if (!stream)
        return;
    TDatenModul& module = requireDatenModul();
    module.LoadProgrammVorlageListeFromDB();
    writeRecord(stream, [&](TStreamWriter& w) { module.FProgrammVorlageListe.SaveToStream(w); });
}

bool TMail::VorlageArtVorhanden(const QUuid& art)
{
    return requireDatenModul().FProgrammVorlageArtListe.ProgrammVorlageArtVorhanden(art);
}

void TMail::VorlageArtAnlegen(const QUuid& art, const QString& nameDE, const QString& nameEN,
                              const QString& beschreibungEN, const QString& beschreibungDE, IStream* felder,
                              int32_t felderVersion)
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        throwNoProgID();
    module->VorlageArtAnlegen(art, nameDE, nameEN, beschreibungEN, beschreibungDE, readFelder(felder, art), felderVersion);
}

void TMail::VorlageArtFelderAktualisieren(const QUuid& art, IStream* felder, int32_t felderVersion)
{
    TDatenModul& module = requireDatenModul();
    if (!felder)
        throw EKalvex(Tx(4402, "Es wurde kein Feldkatalog übergeben; die Vorlageart %1 bleibt unverändert.")
                          .arg(GuidToString(art)));
    module.VorlageArtFelderAktualisieren(art, readFelder(felder, art), felderVersion);
}

int32_t TMail::VorlageArtFelderVersion(const QUuid& art)
{
    return requireDatenModul().VorlageArtFelderVersion(art);
}

void TMail::VorlageArtErweitern(const QUuid& art, uint8_t orvanProgID)
{
    if (!TDatenModul::Instance())
        throwNoProgID();
    requireDatenModul().VorlageArtErweitern(art, orvanProgID);
}

void TMail::VorlageArtUmbenennen(const QUuid& art, const QString& name, int32_t lang)
{
    requireDatenModul().VorlageArtUmbenennen(art, name, lang);
}

int32_t TMail::VorlageVorhanden(const QUuid& vorlage)
{
    return requireDatenModul().VorlageVorhanden(vorlage);
}

void TMail::VorlageAnlegen(const QUuid& art, const QUuid& vorlage, const QString& nameDE, const QString& nameEN,
                           const QString& betreff, const QString& body, const QString& pfad, bool isDefault)
{
    if (!TDatenModul::Instance())
        throwNoProgID();
    requireDatenModul().VorlageAnlegen(art, vorlage, nameDE, nameEN, betreff, body, pfad, isDefault);
}

void TMail::VorlageAktualisieren(IStream* stream)
{
    TDatenModul& module = requireDatenModul();
    if (!stream)
        return;
    const QByteArray bytes = ReadAllFromStream(stream);
    TStreamReader reader(bytes);
    TProgrammVorlage vorlage;
    vorlage.LoadFromStream(reader);
    module.VorlageAktualisieren(vorlage);
}

void TMail::VorlageLoeschen(const QUuid& vorlage)
{
    requireDatenModul().VorlageLoeschen(vorlage);
}

}  // namespace kalvex
