/* Loads libkalvex.so as a host does, through kalvex.h and dlopen only, and
   checks the binary contract: exports, slot order, QueryInterface,
   reference counting, the memory stream and the error channel. */
#define _GNU_SOURCE
#include "kalvex/kalvex.h"

#include <dlfcn.h>
#include <limits.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int failures = 0;
#define CHECK(cond)                                                          \
    do {                                                                     \
        if (!(cond)) {                                                       \
            fprintf(stderr, "%s:%d: CHECK failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                      \
        }                                                                    \
    } while (0)

typedef void (KALVEX_CALL *GetFn)(iEMailV6**);
typedef KHRESULT (KALVEX_CALL *CreateStreamFn)(IStream**);
typedef const kx_char16* (KALVEX_CALL *LastErrorFn)(void);
typedef void (KALVEX_CALL *VoidFn)(void);

static LastErrorFn lastError;

static size_t u16len(const kx_char16* s)
{
    size_t n = 0;
    while (s && s[n])
        ++n;
    return n;
}

/* ASCII check of a UTF-16 text: does it contain needle? */
static int u16contains(const kx_char16* s, const char* needle)
{
    size_t n = u16len(s), m = strlen(needle);
    for (size_t i = 0; i + m <= n; ++i) {
        size_t j = 0;
        while (j < m && s[i + j] == (kx_char16)(unsigned char)needle[j])
            ++j;
        if (j == m)
            return 1;
    }
    return 0;
}

static void u16(kx_char16* out, const char* ascii)
{
    while ((*out++ = (kx_char16)(unsigned char)*ascii++))
        ;
}

#define SLOT(member) (offsetof(iEMailV6Vtbl, member) / sizeof(void*))

static void checkSlotOrder(void)
{
    CHECK(SLOT(QueryInterface) == 0 && SLOT(AddRef) == 1 && SLOT(Release) == 2);
    CHECK(SLOT(ShowVerteilerForm) == 3 && SLOT(ShowVerteilerFormLeer) == 4);
    CHECK(SLOT(ShowVerteilerForm_B) == 5 && SLOT(ShowVerteilerFormLeer_B) == 6 && SLOT(ShowMailAdrVerwaltung) == 7);
    CHECK(SLOT(ShowVerteilerFormLeer_C) == 8);
    CHECK(SLOT(ShowVerteilerForm_C) == 9 && SLOT(ShowVerteilerFormLeer_D) == 10 && SLOT(ShowMailAdrVerwaltung_B) == 11);
    CHECK(SLOT(LoadEMailListe) == 12 && SLOT(LoadVorlageArtListe) == 13 && SLOT(LoadVorlageListe) == 14);
    CHECK(SLOT(InitInterface) == 15 && SLOT(SetDatenfelder) == 16 && SLOT(VorlageArtVorhanden) == 17);
    CHECK(SLOT(VorlageArtAnlegen) == 18 && SLOT(VorlageArtFelderAktualisieren) == 19 && SLOT(VorlageVorhanden) == 20);
    CHECK(SLOT(VorlageAnlegen) == 21 && SLOT(VorlageAktualisieren) == 22 && SLOT(VorlageLoeschen) == 23);
    CHECK(SLOT(VorlageArtUmbenennen) == 24 && SLOT(VorlageArtErweitern) == 25 && SLOT(VorlageArtFelderVersion) == 26);
    CHECK(SLOT(ShowVerteilerFormVersion2) == 27 && SLOT(ShowMailAdrVerwaltungVersion2) == 28);
    CHECK(SLOT(ShowVerteilerFormVersion3) == 29);
    CHECK(sizeof(iEMailV6Vtbl) == 30 * sizeof(void*));
    CHECK(sizeof(IStreamVtbl) == 14 * sizeof(void*));
    CHECK(sizeof(KGUID) == 16);
}

static void checkQueryInterface(iEMailV6* mail)
{
    const KGUID known[] = {KALVEX_IID_IUNKNOWN, KALVEX_IID_IEMAIL,   KALVEX_IID_IEMAILV2, KALVEX_IID_IEMAILV3,
                           KALVEX_IID_IEMAILV4, KALVEX_IID_IEMAILV5, KALVEX_IID_IEMAILV6};
    for (size_t i = 0; i < sizeof known / sizeof known[0]; ++i) {
        void* obj = NULL;
        CHECK(mail->lpVtbl->QueryInterface(mail, &known[i], &obj) == KALVEX_S_OK);
        CHECK(obj == mail);
        CHECK(mail->lpVtbl->Release(mail) == 1);  /* QueryInterface added one */
    }
    const KGUID unknown = {0x12345678u, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    void* obj = (void*)1;
    CHECK(mail->lpVtbl->QueryInterface(mail, &unknown, &obj) == KALVEX_E_NOINTERFACE);
    CHECK(obj == NULL);
    CHECK(mail->lpVtbl->AddRef(mail) == 2);
    CHECK(mail->lpVtbl->Release(mail) == 1);
}

static void checkMemoryStream(CreateStreamFn create)
{
    IStream* s = NULL;
    CHECK(create(&s) == KALVEX_S_OK && s != NULL);
    uint32_t n = 0;
    CHECK(s->lpVtbl->Write(s, "Kalvex", 6, &n) == KALVEX_S_OK && n == 6);
    uint64_t pos = 99;
    CHECK(s->lpVtbl->Seek(s, 1, KALVEX_STREAM_SEEK_SET, &pos) == KALVEX_S_OK && pos == 1);
    char buf[16] = {0};
    CHECK(s->lpVtbl->Read(s, buf, sizeof buf, &n) == KALVEX_S_FALSE && n == 5 && memcmp(buf, "alvex", 5) == 0);
    CHECK(s->lpVtbl->Seek(s, -1, KALVEX_STREAM_SEEK_SET, NULL) < 0);
    CHECK(s->lpVtbl->SetSize(s, 2) == KALVEX_S_OK);
    KSTATSTG st;
    CHECK(s->lpVtbl->Stat(s, &st, 0) == KALVEX_S_OK && st.cbSize == 2);
    CHECK(s->lpVtbl->AddRef(s) == 2);
    CHECK(s->lpVtbl->Release(s) == 1);
    CHECK(s->lpVtbl->Release(s) == 0);
    CHECK(create(NULL) == KALVEX_E_POINTER);
}

/* Every method reaches its own slot: each answers in its own way. */
static void checkCallsAndErrorChannel(iEMailV6* mail, CreateStreamFn create)
{
    const KGUID g = {0x11111111u, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    CHECK(mail->lpVtbl->VorlageArtFelderVersion(mail, &g) == -1);
    CHECK(u16len(lastError()) > 0);
    CHECK(mail->lpVtbl->VorlageVorhanden(mail, &g) == -1);
    CHECK(mail->lpVtbl->VorlageArtVorhanden(mail, &g) == 0);

    /* A null stream is ignored and the call succeeds. */
    mail->lpVtbl->SetDatenfelder(mail, NULL);
    CHECK(u16len(lastError()) == 0);
    mail->lpVtbl->LoadEMailListe(mail, NULL);
    CHECK(u16len(lastError()) == 0);

    /* A kind GUID text that does not parse ends in a German message. */
    kx_char16 bad[16];
    u16(bad, "{kein-guid}");
    IStream* empty = NULL;
    create(&empty);
    CHECK(mail->lpVtbl->ShowVerteilerFormVersion3(mail, 0, 1031, NULL, NULL, NULL, NULL, NULL, bad, NULL) == -1);
    CHECK(u16contains(lastError(), "GUID"));

    /* Truncated recipients stream: the reader refuses it. */
    uint32_t n = 0;
    const unsigned char truncated[] = {1, 0, 0, 0, 5, 0, 0, 0};
    empty->lpVtbl->Write(empty, truncated, sizeof truncated, &n);
    CHECK(mail->lpVtbl->ShowVerteilerFormVersion3(mail, 0, 1031, NULL, NULL, empty, NULL, NULL, NULL, NULL) == -1);
    CHECK(u16contains(lastError(), "Datenstrom"));
    empty->lpVtbl->Release(empty);

    /* Window methods open nothing yet, prepare and clean up, and succeed; a
       template that is not there is not chosen, so Version2 answers zeros. */
    mail->lpVtbl->ShowVerteilerFormLeer(mail, 0, NULL, NULL);
    CHECK(u16len(lastError()) == 0);
    KGUID out;
    memset(&out, 0xAB, sizeof out);
    kx_char16 tmpl[40];
    u16(tmpl, "{94170175-1E44-488F-B5E4-0FCED6F84302}");
    mail->lpVtbl->ShowVerteilerFormVersion2(mail, 0, 1033, NULL, NULL, NULL, NULL, NULL, NULL, tmpl, &out);
    CHECK(u16len(lastError()) == 0);
    CHECK(out.Data1 == 0 && out.Data2 == 0 && out.Data4[7] == 0);
}

static void writeFile(const char* path, const char* text)
{
    FILE* f = fopen(path, "w");
    if (!f) {
        perror(path);
        exit(2);
    }
    fputs(text, f);
    fclose(f);
}

static int fileContains(const char* path, const char* needle)
{
    char buf[4096] = {0};
    FILE* f = fopen(path, "r");
    if (!f)
        return 0;
    size_t n = fread(buf, 1, sizeof buf - 1, f);
    buf[n] = 0;
    fclose(f);
    return strstr(buf, needle) != NULL;
}

/* A common folder through the registry file and a Regpath.ini next to this program. */
static void setUpInstallation(char* dir, char* regpath, char* configIni)
{
    char path[PATH_MAX], exe[PATH_MAX];
    ssize_t len = readlink("/proc/self/exe", exe, sizeof exe - 1);
    exe[len > 0 ? len : 0] = 0;
    *strrchr(exe, '/') = 0;
    snprintf(regpath, PATH_MAX, "%s/Regpath.ini", exe);
    writeFile(regpath, "[Registry]\nKey=Demo\n");
    snprintf(path, sizeof path, "%s/registry.ini", dir);
    char reg[3 * PATH_MAX];
    snprintf(reg, sizeof reg,
             "[SOFTWARE\\QMB GmbH\\InstallDir]\nDemo=%s/data\nSteuerpult2015=%s/pkz\n"
             "[SOFTWARE\\QMB GmbH\\Common]\nCommon=%s/common\n", dir, dir, dir);
    writeFile(path, reg);
    setenv("KALVEX_REGISTRY", path, 1);
    snprintf(path, sizeof path, "mkdir -p '%s/common/Common04/KVXIni'", dir);
    if (system(path) != 0)
        exit(2);
    snprintf(configIni, PATH_MAX, "%s/common/Common04/KVXIni/config.ini", dir);
}

/* Releasing one object leaves the module working for another one: the
   application of the UI library is torn down only with the last object. */
static void checkReleaseKeepsOthersWorking(GetFn getV1, GetFn getV5)
{
    iEMailV6* m1 = NULL;
    iEMailV6* m2 = NULL;
    getV1(&m1);
    getV5(&m2);
    CHECK(m1 != NULL && m2 != NULL);
    CHECK(m1->lpVtbl->Release(m1) == 0);
    m2->lpVtbl->ShowVerteilerFormLeer(m2, 0, NULL, NULL);
    CHECK(u16len(lastError()) == 0);
    CHECK(m2->lpVtbl->Release(m2) == 0);
}

static IStream* streamOf(CreateStreamFn create, const void* bytes, uint32_t size)
{
    IStream* s = NULL;
    uint32_t n = 0;
    create(&s);
    s->lpVtbl->Write(s, bytes, size, &n);
    return s;
}

/* The templates as the module lists them, in the record stream's bytes. */
static size_t templateListBytes(iEMailV6* mail, CreateStreamFn create, char* out, size_t size)
{
    IStream* s = NULL;
    uint32_t n = 0;
    create(&s);
    mail->lpVtbl->LoadVorlageListe(mail, s);
    s->lpVtbl->Seek(s, 0, KALVEX_STREAM_SEEK_SET, NULL);
    s->lpVtbl->Read(s, out, (uint32_t)size, &n);
    s->lpVtbl->Release(s);
    return n;
}

/* What the host passes in is checked before the store is touched: no
   database folder, no GUID, a field catalogue that is missing or of
   another version are refused with a message, and nothing changes; a lone
   surrogate in a text becomes U+FFFD and leaves its neighbours alone. */
static void checkTemplateInputs(GetFn get, CreateStreamFn create, const char* dir)
{
    iEMailV6* m = NULL;
    get(&m);
    kx_char16 folder[PATH_MAX], name[8] = {'A', 0xD800, 'B', 'C', 0};
    char path[PATH_MAX];
    snprintf(path, sizeof path, "%s/db", dir);
    u16(folder, path);
    m->lpVtbl->InitInterface(m, NULL, NULL, NULL, 2016, 1);
    CHECK(u16len(lastError()) > 0);
    m->lpVtbl->InitInterface(m, folder, NULL, NULL, 2016, 1);
    CHECK(u16len(lastError()) == 0);

    const KGUID zero = {0, 0, 0, {0}}, kind = {0x44000001u, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    m->lpVtbl->VorlageArtAnlegen(m, NULL, name, NULL, NULL, NULL, NULL, 5);
    CHECK(u16contains(lastError(), "GUID"));
    CHECK(m->lpVtbl->VorlageArtFelderVersion(m, &zero) == -1);
    CHECK(m->lpVtbl->VorlageVorhanden(m, NULL) == -1 && u16contains(lastError(), "GUID"));

    const unsigned char v1[12] = {1, 0, 0, 0}, v2[12] = {2, 0, 0, 0};
    IStream* good = streamOf(create, v1, sizeof v1);
    IStream* other = streamOf(create, v2, sizeof v2);
    m->lpVtbl->VorlageArtAnlegen(m, &kind, name, NULL, NULL, NULL, good, 3);
    CHECK(u16len(lastError()) == 0);
    m->lpVtbl->VorlageArtFelderAktualisieren(m, &kind, NULL, 7);
    CHECK(u16len(lastError()) > 0);
    m->lpVtbl->VorlageArtFelderAktualisieren(m, &kind, other, 8);
    CHECK(u16len(lastError()) > 0);
    CHECK(m->lpVtbl->VorlageArtFelderVersion(m, &kind) == 3);
    m->lpVtbl->VorlageArtFelderAktualisieren(m, &kind, good, 9);
    CHECK(u16len(lastError()) == 0);
    CHECK(m->lpVtbl->VorlageArtFelderVersion(m, &kind) == 9);
    good->lpVtbl->Release(good);
    other->lpVtbl->Release(other);

    const KGUID vorlage = {0x44000002u, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    m->lpVtbl->VorlageAnlegen(m, &kind, &vorlage, NULL, NULL, name, NULL, NULL, 0);
    CHECK(u16len(lastError()) == 0);
    char bytes[8192];
    size_t n = templateListBytes(m, create, bytes, sizeof bytes);
    CHECK(memmem(bytes, n, "A\xEF\xBF\xBD" "BC", 6) != NULL);
    CHECK(m->lpVtbl->Release(m) == 0);
}

/* DoFinalize=0 skips the finalisation once and writes the key back to 1. */
static void checkDoFinalize(GetFn get, const char* configIni)
{
    writeFile(configIni, "[BVZugriff]\nDoFinalize=0\n");
    iEMailV6* mail = NULL;
    get(&mail);
    CHECK(mail != NULL);
    CHECK(mail->lpVtbl->Release(mail) == 0);
    CHECK(fileContains(configIni, "DoFinalize=1"));
}

int main(int argc, char** argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: %s path/to/libkalvex.so\n", argv[0]);
        return 2;
    }
    char dir[] = "/tmp/kalvex-host-XXXXXX", regpath[PATH_MAX], configIni[PATH_MAX];
    if (!mkdtemp(dir))
        return 2;
    setUpInstallation(dir, regpath, configIni);

    void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "dlopen: %s\n", dlerror());
        return 2;
    }
    const char* names[] = {"GetMailInterface", "GetMailInterfaceV2", "GetMailInterfaceV3",
                           "GetMailInterfaceV4", "GetMailInterfaceV5", "GetMailInterfaceV6"};
    GetFn get[6];
    for (int i = 0; i < 6; ++i) {
        *(void**)&get[i] = dlsym(lib, names[i]);
        CHECK(get[i] != NULL);
    }
    CreateStreamFn create;
    VoidFn initFn, finalizeFn;
    *(void**)&create = dlsym(lib, "KalvexCreateMemoryStream");
    *(void**)&lastError = dlsym(lib, "KalvexLastError");
    *(void**)&initFn = dlsym(lib, "init");
    *(void**)&finalizeFn = dlsym(lib, "finalize");
    if (!create || !lastError || !initFn || !finalizeFn || failures)
        return 1;

    checkSlotOrder();
    initFn();
    checkMemoryStream(create);

    /* All six factories make a new, equivalent object each time. */
    iEMailV6* objects[6] = {0};
    for (int i = 0; i < 6; ++i) {
        get[i](&objects[i]);
        CHECK(objects[i] != NULL && objects[i]->lpVtbl == objects[0]->lpVtbl);
        for (int j = 0; j < i; ++j)
            CHECK(objects[i] != objects[j]);
    }
    checkQueryInterface(objects[5]);
    checkCallsAndErrorChannel(objects[5], create);

    /* Assigning over a held reference releases the old object first. */
    iEMailV6* held = objects[0];
    CHECK(held->lpVtbl->AddRef(held) == 2);
    get[0](&objects[0]);
    CHECK(objects[0] != held);
    CHECK(held->lpVtbl->Release(held) == 0);

    for (int i = 0; i < 6; ++i)
        CHECK(objects[i]->lpVtbl->Release(objects[i]) == 0);
    checkReleaseKeepsOthersWorking(get[0], get[4]);
    checkTemplateInputs(get[4], create, dir);
    checkDoFinalize(get[5], configIni);
    finalizeFn();

    unlink(regpath);
    char cmd[PATH_MAX + 16];
    snprintf(cmd, sizeof cmd, "rm -rf '%s'", dir);
    if (system(cmd) != 0)
        fprintf(stderr, "could not remove %s\n", dir);
    if (failures)
        fprintf(stderr, "%d check(s) failed\n", failures);
    else
        printf("host boundary: all checks passed\n");
    return failures ? 1 : 0;
}
