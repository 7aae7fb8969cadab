#include "address/CsvAttachments.h"

#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>

namespace kalvex {

namespace {

QString rootOf(const QString& folder)
{
    const QString canonical = QFileInfo(folder).canonicalFilePath();
    if (canonical.isEmpty())
        return QString();
    return canonical.endsWith(QLatin1Char('/')) ? canonical : canonical + QLatin1Char('/');
}

// stat, not QFileInfo: a FIFO or a device must be told from a file before
// anything opens it (opening a FIFO would wait for a writer).
bool isRegularFile(const QString& path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

bool IsSystemPath(const QString& absolutePath)
{
    const QString path = QDir::cleanPath(absolutePath);
    for (const char* root : {"/proc", "/sys", "/dev"})
        if (path == QLatin1String(root) || path.startsWith(QLatin1String(root) + QLatin1Char('/')))
            return true;
    return false;
}

TAttachmentFolders::TAttachmentFolders(const QString& listFolder, const QStringList& released)
    : FListFolder(QFileInfo(listFolder).absoluteFilePath())
{
    for (const QString& folder : QStringList{listFolder} + released)
        if (const QString root = rootOf(folder); !root.isEmpty())
            FRoots << root;
}

TAttachmentCheck TAttachmentFolders::Check(const QString& name) const
{
    const QString written = QDir::cleanPath(QDir(FListFolder).absoluteFilePath(name));
    if (IsSystemPath(written))
        return {TAttachmentVerdict::avSpecial, QString()};
    const QString canonical = QFileInfo(written).canonicalFilePath();
    if (canonical.isEmpty())
        return {TAttachmentVerdict::avMissing, QString()};
    if (IsSystemPath(canonical) || !isRegularFile(canonical))
        return {TAttachmentVerdict::avSpecial, QString()};
    if (!insideRoots(canonical))
        return {TAttachmentVerdict::avOutside, QString()};
    return {TAttachmentVerdict::avAccepted, canonical};
}

bool TAttachmentFolders::insideRoots(const QString& canonicalPath) const
{
    for (const QString& root : FRoots)
        if (canonicalPath.startsWith(root))
            return true;
    return false;
}

}  // namespace kalvex
