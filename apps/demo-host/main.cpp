// Demo host: sets up a demo installation under ./demo-data (registry file,
// common folder, settings), loads libkalvex.so with dlopen and drives it
// through the interface table of kalvex.h, printing what it did.

#include "kalvex/kalvex.h"

#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

// UTF-8 to UTF-16 (the demo texts are in the BMP).
std::u16string u16(const std::string& utf8)
{
    std::u16string out;
    for (size_t i = 0; i < utf8.size();) {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        const int extra = c < 0x80 ? 0 : c < 0xE0 ? 1 : 2;
        char32_t code = extra == 0 ? c : extra == 1 ? (c & 0x1F) : (c & 0x0F);
        for (int k = 1; k <= extra && i + k < utf8.size(); ++k)
            code = (code << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        out += static_cast<char16_t>(code);
        i += 1 + extra;
    }
    return out;
}

std::string narrow(const kx_char16* text)
{
    std::string out;
    for (; text && *text; ++text) {
        const char32_t c = *text;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

void writeText(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

fs::path executableFolder()
{
    return fs::read_symlink("/proc/self/exe").parent_path();
}

// The host's own address database: a few people in Persdat.
void createDemoAddressDatabase(const fs::path& file)
{
    if (fs::exists(file))
        return;
    fs::create_directories(file.parent_path());
    sqlite3* db = nullptr;
    if (sqlite3_open(file.c_str(), &db) != SQLITE_OK)
        throw std::runtime_error("cannot create " + file.string());
    const char* sql =
        "CREATE TABLE Persdat (GUID TEXT PRIMARY KEY, EMAIL TEXT, Vorname TEXT, Name TEXT, Firma TEXT, Firma2 TEXT);"
        "INSERT INTO Persdat VALUES ('{6B29FC40-CA47-1067-B31D-00DD010662DA}', 'anna.schaefer@example.org', 'Anna',"
        " 'Schäfer', 'Schäfer Hochbau GmbH', '');"
        "INSERT INTO Persdat VALUES ('{3F2504E0-4F89-11D3-9A0C-0305E82C3301}', 'bernd.albers@example.org', 'Bernd',"
        " 'Albers', 'Albers & Söhne', 'Tiefbau');"
        "INSERT INTO Persdat VALUES ('{A0B1C2D3-E4F5-4A6B-8C7D-9E0F1A2B3C4D}', 'claudia.wolf@example.org', 'Claudia',"
        " 'Wolf', 'Planungsbüro Wolf', '');";
    char* error = nullptr;
    const int rc = sqlite3_exec(db, sql, nullptr, nullptr, &error);
    sqlite3_close(db);
    if (rc != SQLITE_OK) {
        const std::string message = error ? error : "unknown";
        sqlite3_free(error);
        throw std::runtime_error("demo address database: " + message);
    }
}

// The installation a host program would find: registry file, Regpath.ini
// next to the program, the common folder with the module's settings.
fs::path setUpDemoInstallation(const std::string& folder)
{
    const fs::path root = fs::absolute(folder);
    const fs::path common = root / "common";
    writeText(root / "registry.ini",
              "[SOFTWARE\\QMB GmbH\\InstallDir]\nDemo=" + (root / "programdata").string()
                  + "\nSteuerpult2015=" + (root / "pkz").string() + "\n[SOFTWARE\\QMB GmbH\\Common]\nCommon="
                  + common.string() + "\n");
    writeText(executableFolder() / "Regpath.ini", "[Registry]\nKey=Demo\n");
    if (!fs::exists(common / "Common04/KVXIni/mailserver.ini"))
        writeText(common / "Common04/KVXIni/mailserver.ini",
                  "[SMTP]\nSendDirekt=0\nHost=127.0.0.1\nPort=2525\nAbsender=demo@example.org\n"
                  "AbsenderName=Kalvex Demo\nEncodedConnect=0\n");
    createDemoAddressDatabase(root / "pkz/AdressDB/AdressDB.db");
    // The family's shared translation file lives in the common folder.
    // An installed module brings its own copy instead.
    if (fs::exists(KALVEX_TRANSLATIONS_DB))
        fs::copy_file(KALVEX_TRANSLATIONS_DB, common / "Common04/DllsLang.db3", fs::copy_options::overwrite_existing);
    setenv("KALVEX_REGISTRY", (root / "registry.ini").c_str(), 1);
    return root;
}


// The version-1 record streams, written as a host writes them: 4-byte
// little-endian integers, strings as a byte count and UTF-8, GUIDs as
// braced text.
class DemoStream {
public:
    DemoStream& integer(int32_t v)
    {
        for (int i = 0; i < 4; ++i)
            FBytes += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
        return *this;
    }
    DemoStream& text(const std::string& utf8)
    {
        integer(static_cast<int32_t>(utf8.size()));
        FBytes += utf8;
        return *this;
    }
    DemoStream& names(const std::string& de, const std::string& en)   // a translation list
    {
        return integer(2).integer(1031).text(de).integer(1033).text(en);
    }
    const std::string& bytes() const { return FBytes; }

private:
    std::string FBytes;
};

const std::string kDemoKind = "{5E1D0C3A-7B42-4F10-9C3E-2A6D8B1F4E70}";
const std::string kTemplateDE = "{0A7C4E21-3B5D-4C6F-8E9A-1B2C3D4E5F60}";
const std::string kTemplateEN = "{0A7C4E21-3B5D-4C6F-8E9A-1B2C3D4E5F61}";
const std::string kColNr = "{11111111-0000-4000-8000-000000000001}";
const std::string kColText = "{11111111-0000-4000-8000-000000000002}";
const std::string kColOrt = "{11111111-0000-4000-8000-000000000003}";

// Three simple fields and a repeat block of defects with three columns;
// withValues adds the data of one project (the host's current record).
std::string demoFields(bool withValues)
{
    DemoStream s;
    s.integer(1).integer(3);
    const char* simple[][4] = {{"{22222222-0000-4000-8000-000000000001}", "Projekt", "Project", "Neubau Lagerhalle Nord"},
                               {"{22222222-0000-4000-8000-000000000002}", "Bauherr", "Client", "Schäfer Hochbau GmbH"},
                               {"{22222222-0000-4000-8000-000000000003}", "Frist", "Deadline", "15.12.2026"}};
    for (const auto& f : simple)
        s.integer(1).text(f[0]).text(withValues ? f[3] : "").names(f[1], f[2]).names("", "");
    s.integer(1).integer(1).text("{33333333-0000-4000-8000-000000000001}").names("Mangel", "Defect").names("", "");
    const char* columns[][3] = {{kColNr.c_str(), "Nr", "No"}, {kColText.c_str(), "Beschreibung", "Description"},
                                {kColOrt.c_str(), "Ort", "Location"}};
    s.integer(3);
    for (const auto& c : columns)
        s.integer(1).text(c[0]).names(c[1], c[2]).names("", "");
    const char* rows[][3] = {{"1", "Risse im Estrich", "Halle, Achse B"},
                             {"2", "Tür schließt nicht", "Büro 1.04"},
                             {"3", "Dachrinne undicht", "Nordseite"}};
    s.integer(withValues ? 3 : 0);
    for (int r = 0; withValues && r < 3; ++r) {
        s.integer(1).integer(3);
        for (int c = 0; c < 3; ++c)
            s.integer(1).text(columns[c][0]).text(rows[r][c]);
    }
    return s.bytes();
}

// Two people of the demo address database, found by their GUIDs.
std::string demoRecipients()
{
    DemoStream s;
    s.integer(1).integer(2);
    const char* people[][3] = {{"anna.schaefer@example.org", "Anna Schäfer", "{6B29FC40-CA47-1067-B31D-00DD010662DA}"},
                               {"bernd.albers@example.org", "Bernd Albers", "{3F2504E0-4F89-11D3-9A0C-0305E82C3301}"}};
    for (const auto& p : people)
        s.integer(1).integer(0).text(p[0]).text(p[1]).text("Persdat").text("GUID").text("EMAIL").text(p[2]);
    return s.bytes();
}

KGUID parseGuid(const std::string& text)
{
    KGUID g{};
    unsigned d[11] = {};
    std::sscanf(text.c_str(), "{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}", &d[0], &d[1], &d[2], &d[3], &d[4], &d[5], &d[6],
                &d[7], &d[8], &d[9], &d[10]);
    g.Data1 = d[0];
    g.Data2 = static_cast<uint16_t>(d[1]);
    g.Data3 = static_cast<uint16_t>(d[2]);
    for (int i = 0; i < 8; ++i)
        g.Data4[i] = static_cast<uint8_t>(d[3 + i]);
    return g;
}

// The installed library beside an installed demo, else the build folder's.
std::string defaultLibrary()
{
    const fs::path installed = executableFolder() / KALVEX_LIBRARY_FROM_BINDIR;
    return fs::exists(installed) ? installed.lexically_normal().string() : std::string(KALVEX_LIBRARY_PATH);
}

struct Options {
    std::string library = defaultLibrary();
    int32_t lang = 1031;
    int scriptPort = 0;   // > 0: send the merged mail to 127.0.0.1:port and exit
};

Options parseOptions(int argc, char** argv)
{
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--lang" && i + 1 < argc)
            o.lang = std::atoi(argv[++i]);
        else if (arg == "--script" && i + 1 < argc)
            o.scriptPort = std::atoi(argv[++i]);
        else
            o.library = arg;
    }
    return o;
}

struct Library {
    void* handle = nullptr;
    void (KALVEX_CALL *getInterface)(iEMailV6**) = nullptr;
    void (KALVEX_CALL *init)() = nullptr;
    void (KALVEX_CALL *finalize)() = nullptr;
    KHRESULT (KALVEX_CALL *createStream)(IStream**) = nullptr;
    const kx_char16* (KALVEX_CALL *lastError)() = nullptr;

    template <class F>
    void bind(F& fn, const char* name)
    {
        *reinterpret_cast<void**>(&fn) = dlsym(handle, name);
        if (!fn)
            throw std::runtime_error(std::string("missing export ") + name);
    }

    explicit Library(const char* path)
    {
        handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (!handle)
            throw std::runtime_error(dlerror());
        bind(getInterface, "GetMailInterfaceV6");
        bind(init, "init");
        bind(finalize, "finalize");
        bind(createStream, "KalvexCreateMemoryStream");
        bind(lastError, "KalvexLastError");
    }
};

void report(const Library& lib, const char* what)
{
    const std::string error = narrow(lib.lastError());
    std::printf("%-48s %s\n", what, error.empty() ? "ok" : ("-> " + error).c_str());
}

IStream* streamOf(const Library& lib, const std::string& bytes)
{
    IStream* stream = nullptr;
    lib.createStream(&stream);
    uint32_t written = 0;
    stream->lpVtbl->Write(stream, bytes.data(), static_cast<uint32_t>(bytes.size()), &written);
    return stream;
}

// The host's template kind "Mängelanzeige" with a German and an English
// template, created once (the module keeps them in its store).
void registerDemoTemplates(const Library& lib, iEMailV6* mail)
{
    const auto* t = mail->lpVtbl;
    const KGUID kind = parseGuid(kDemoKind);
    if (!t->VorlageArtVorhanden(mail, &kind)) {
        IStream* fields = streamOf(lib, demoFields(false));
        t->VorlageArtAnlegen(mail, &kind, u16("Mängelanzeige").c_str(), u16("Defect notice").c_str(),
                             u16("Defects found on site").c_str(), u16("Mängel auf der Baustelle").c_str(), fields, 1);
        fields->lpVtbl->Release(fields);
        report(lib, "VorlageArtAnlegen(Mängelanzeige)");
    }
    const KGUID de = parseGuid(kTemplateDE);
    if (t->VorlageVorhanden(mail, &de) < 0) {
        t->VorlageAnlegen(mail, &kind, &de, u16("Mängelanzeige").c_str(), u16("Mängelanzeige (deutsch)").c_str(),
                          u16("Mängelanzeige <Projekt>").c_str(),
                          u16("Sehr geehrte Damen und Herren,\n\nam Bauvorhaben <Projekt> (Bauherr: <Bauherr>) sind folgende "
                              "Mängel festgestellt worden:\n\n<Mangel-Wiederholung-Anfang><Nr>. <Beschreibung> (<Ort>)\n"
                              "<Mangel-Wiederholung-Ende>\nBitte beseitigen Sie die Mängel bis zum <Frist>.\n\nMit "
                              "freundlichen Grüßen").c_str(),
                          u16("").c_str(), 1);
        report(lib, "VorlageAnlegen(deutsch)");
    }
    const KGUID en = parseGuid(kTemplateEN);
    if (t->VorlageVorhanden(mail, &en) < 0) {
        t->VorlageAnlegen(mail, &kind, &en, u16("Defect notice (englisch)").c_str(), u16("Defect notice").c_str(),
                          u16("Defect notice <Project>").c_str(),
                          u16("Dear Sir or Madam,\n\nthe following defects were found on <Project> (client: <Client>):\n\n"
                              "<Defect-Wiederholung-Anfang><No>. <Description> (<Location>)\n<Defect-Wiederholung-Ende>\nPlease remedy them "
                              "by <Deadline>.\n\nKind regards").c_str(),
                          u16("").c_str(), 0);
        report(lib, "VorlageAnlegen(englisch)");
    }
}

void runDemo(const Library& lib, iEMailV6* mail, const fs::path& root, const Options& options)
{
    const auto* t = mail->lpVtbl;
    const std::u16string folder = u16((root / "common").string());
    const std::u16string dataFolder = u16((root / "common/Common04").string());
    const std::u16string section = u16("Demo");
    const KGUID v5 = KALVEX_IID_IEMAILV5;
    void* level = nullptr;
    std::printf("QueryInterface(iEMailV5)                         %s\n",
                t->QueryInterface(mail, &v5, &level) == KALVEX_S_OK ? "ok" : "failed");
    if (level)
        t->Release(mail);

    t->InitInterface(mail, dataFolder.c_str(), folder.c_str(), section.c_str(), 2026, 1);
    report(lib, "InitInterface");
    registerDemoTemplates(lib, mail);

    IStream* list = nullptr;
    lib.createStream(&list);
    t->LoadEMailListe(mail, list);
    KSTATSTG stat{};
    list->lpVtbl->Stat(list, &stat, 0);
    report(lib, ("LoadEMailListe (" + std::to_string(stat.cbSize) + " bytes)").c_str());
    list->lpVtbl->Release(list);

    IStream* recipients = streamOf(lib, demoRecipients());
    IStream* fields = streamOf(lib, demoFields(true));
    const std::string attachment = (root / "Mängelliste.txt").string();
    writeText(attachment, "1. Risse im Estrich\n2. Tür schließt nicht\n3. Dachrinne undicht\n");
    const std::string chosen = options.lang == 1033 ? kTemplateEN : kTemplateDE;
    const int32_t exitCode = t->ShowVerteilerFormVersion3(mail, 0, options.lang, u16("").c_str(), u16("").c_str(), recipients,
                                                          fields, u16(attachment).c_str(), u16(kDemoKind).c_str(),
                                                          u16(chosen).c_str());
    report(lib, ("ShowVerteilerFormVersion3 = " + std::to_string(exitCode)).c_str());
    recipients->lpVtbl->Release(recipients);
    fields->lpVtbl->Release(fields);
}

// Unattended: direct SMTP to the given local port, the window sends and closes.
void prepareScript(const fs::path& root, int port)
{
    writeText(root / "common/Common04/KVXIni/mailserver.ini",
              "[SMTP]\nSendDirekt=1\nHost=127.0.0.1\nPort=" + std::to_string(port)
                  + "\nAbsender=demo@example.org\nAbsenderName=Kalvex Demo\nEncodedConnect=0\n");
    setenv("KALVEX_SCRIPT", "send", 1);
    setenv("KALVEX_AUTOCLOSE", "1", 1);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        const Options options = parseOptions(argc, argv);
        const fs::path root = setUpDemoInstallation(options.scriptPort > 0 ? "demo-data-script" : "demo-data");
        if (options.scriptPort > 0) {
            prepareScript(root, options.scriptPort);
        } else if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
            std::printf("No display. Run the demo under a virtual one:\n  xvfb-run -a %s\n"
                        "(Debian package xvfb), or unattended with --script <SMTP port>.\n", argv[0]);
            return 2;
        }
        Library lib(options.library.c_str());
        std::printf("Kalvex demo host: %s\ndemo installation: %s\n\n", options.library.c_str(), root.c_str());
        lib.init();
        iEMailV6* mail = nullptr;
        lib.getInterface(&mail);
        report(lib, "GetMailInterfaceV6");
        if (!mail)
            return 1;
        runDemo(lib, mail, root, options);
        std::printf("Release -> %u references left\n", mail->lpVtbl->Release(mail));
        lib.finalize();
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "demo host: %s\n", e.what());
        return 1;
    }
}
