#pragma once
// Where the files named in a recipient file may come from. Whoever writes
// the file chooses the recipients too: a name that reaches out of its
// folder could mail the user's own files (keys, passwords, the process's
// environment) to those recipients. So a file is taken only from the
// folder of the recipient file or from folders the user released, after
// ".." and symbolic links are resolved, and only when it is a regular file
// outside /proc, /sys and /dev.

#include <QString>
#include <QStringList>

namespace kalvex {

enum class TAttachmentVerdict {
    avAccepted,
    avMissing,   // nothing there (also a link that leads nowhere)
    avOutside,   // outside the list's folder and every released folder
    avSpecial,   // no regular file: directory, device, FIFO, socket, /proc, /sys, /dev
};

struct TAttachmentCheck {
    TAttachmentVerdict verdict = TAttachmentVerdict::avMissing;
    QString path;   // the resolved path (links and ".." resolved) when accepted
};

class TAttachmentFolders {
public:
    // listFolder: the recipient file's folder, where relative names start;
    // released: further folders the user allows absolute names from.
    TAttachmentFolders(const QString& listFolder, const QStringList& released = {});
    TAttachmentCheck Check(const QString& name) const;

private:
    bool insideRoots(const QString& canonicalPath) const;

    QString FListFolder;
    QStringList FRoots;   // canonical, each with a trailing '/'
};

// True for paths in /proc, /sys and /dev, which only look like files.
bool IsSystemPath(const QString& absolutePath);

}  // namespace kalvex
