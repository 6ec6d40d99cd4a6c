#pragma once

#include "jsonfile.h"
#include "profilemeta.h"

#include <QtCore>

#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// Files written and read back by the storage tests, and the faults their writers face.

constexpr rlim_t kFaultFileSizeLimit = 4096;

enum class FileFault { None, DiskFull, DiskFullSignalNotIgnored, ReadOnlyFolder };

inline bool writeBytes(const QString &path, const QByteArray &bytes)
{
    return QDir().mkpath(QFileInfo(path).absolutePath()) && writeFileAtomic(path, bytes, nullptr);
}

// Written in place, as an editor that does not replace files would.
inline bool writeInPlace(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The object a JSON text holds; empty when it holds none.
inline QJsonObject jsonOf(const QByteArray &text)
{
    return QJsonDocument::fromJson(text).object();
}

inline QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<none>");
}

// The overlay a profile holds on disk.
inline QJsonObject overlayOf(const GamepadProfileMeta &meta)
{
    return jsonOf(readBytes(meta.overlayPath()));
}

#ifdef QT_GUI_LIB
#include <QImage>

// A picture of one colour, encoded in `format`.
inline QByteArray encoded(const char *format, const QSize &size = {8, 6},
                          const QColor &colour = Qt::red)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, format) ? bytes : QByteArray();
}
#endif

inline void setHost(const QVariant &login, bool sharedRight = false)
{
    qApp->setProperty("kx.currentLogin", login);
    qApp->setProperty("kx.canEditSharedGamepads", sharedRight);
}

// A home the unprivileged user can reach; a write past the size limit fails instead of killing.
inline bool useTestHome(const QTemporaryDir &home)
{
    umask(022);
    std::signal(SIGXFSZ, SIG_IGN);
    qputenv("HOME", QFile::encodeName(home.path()));
    QStandardPaths::setTestModeEnabled(true);
    QLoggingCategory::setFilterRules("kx.plugin.gamepad.ui.warning=false");
    return home.isValid() && chmod(QFile::encodeName(home.path()).constData(), 0755) == 0;
}

// Runs the operation under the fault, then lifts it; root writes anywhere, so nobody faces a
// read-only folder. A host may leave SIGXFSZ as it is: a writer must then stop short of the limit.
inline bool runUnder(FileFault fault, const std::function<bool()> &operation,
                     rlim_t sizeLimit = kFaultFileSizeLimit)
{
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit small{sizeLimit, saved.rlim_max};
    const bool full = fault == FileFault::DiskFull || fault == FileFault::DiskFullSignalNotIgnored;
    const bool limited = full && setrlimit(RLIMIT_FSIZE, &small) == 0;
    const bool asNobody =
        fault == FileFault::ReadOnlyFolder && geteuid() == 0 && seteuid(65534) == 0;
    if (fault == FileFault::DiskFullSignalNotIgnored)
        std::signal(SIGXFSZ, SIG_DFL);
    const bool result = operation();
    std::signal(SIGXFSZ, SIG_IGN);
    if ((asNobody && seteuid(0) != 0) || (limited && setrlimit(RLIMIT_FSIZE, &saved) != 0))
        qFatal("cannot lift the fault");
    return result;
}
