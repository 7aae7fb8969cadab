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

std::u16string u16(const std::string& ascii)
{
    return std::u16string(ascii.begin(), ascii.end());
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
fs::path setUpDemoInstallation()
{
    const fs::path root = fs::absolute("demo-data");
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
    fs::copy_file(KALVEX_TRANSLATIONS_DB, common / "Common04/DllsLang.db3", fs::copy_options::overwrite_existing);
    setenv("KALVEX_REGISTRY", (root / "registry.ini").c_str(), 1);
    return root;
}

struct Library {
    void* handle = nullptr;
    void (*getInterface)(iEMailV6**) = nullptr;
    void (*init)() = nullptr;
    void (*finalize)() = nullptr;
    KHRESULT (*createStream)(IStream**) = nullptr;
    const kx_char16* (*lastError)() = nullptr;

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

void runDemo(const Library& lib, iEMailV6* mail, const fs::path& root)
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

    const KGUID general = {0x94170175u, 0x1E44, 0x488F, {0xB5, 0xE4, 0x0F, 0xCE, 0xD6, 0xF8, 0x43, 0x02}};
    const int32_t version = t->VorlageArtFelderVersion(mail, &general);
    report(lib, ("VorlageArtFelderVersion(Allgemein) = " + std::to_string(version)).c_str());

    IStream* list = nullptr;
    lib.createStream(&list);
    t->LoadEMailListe(mail, list);
    KSTATSTG stat{};
    list->lpVtbl->Stat(list, &stat, 0);
    report(lib, ("LoadEMailListe (" + std::to_string(stat.cbSize) + " bytes)").c_str());
    list->lpVtbl->Release(list);

    const std::u16string subject = u16("Demo");
    const std::u16string recipients = u16("anna@example.org; bernd@example.org");
    t->ShowVerteilerForm_C(mail, 0, folder.c_str(), section.c_str(), subject.c_str(), nullptr, recipients.c_str(),
                           nullptr, 1031, 2026);
    report(lib, "ShowVerteilerForm (pre-filled)");
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        const fs::path root = setUpDemoInstallation();
        // Without a display nobody can close the window: let it close itself.
        if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
            setenv("KALVEX_AUTOCLOSE", "1", 0);
            std::printf("no display: windows close as soon as they open (KALVEX_AUTOCLOSE=1)\n");
        }
        const char* path = argc > 1 ? argv[1] : KALVEX_LIBRARY_PATH;
        Library lib(path);
        std::printf("Kalvex demo host: %s\ndemo installation: %s\n\n", path, root.c_str());
        lib.init();
        iEMailV6* mail = nullptr;
        lib.getInterface(&mail);
        report(lib, "GetMailInterfaceV6");
        if (!mail)
            return 1;
        runDemo(lib, mail, root);
        std::printf("Release -> %u references left\n", mail->lpVtbl->Release(mail));
        lib.finalize();
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "demo host: %s\n", e.what());
        return 1;
    }
}
