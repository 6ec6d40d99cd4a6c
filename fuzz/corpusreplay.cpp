// Replays a fuzz corpus without libFuzzer: every file named on the command line, or found in a
// folder named there, goes once through the target's entry point. A crash or a sanitizer report
// fails the run; otherwise it prints how many inputs were replayed.

#include "fuzzsupport.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

int replayFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot open %s\n", qPrintable(path));
        return 1;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()),
                           size_t(bytes.size()));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    int replayed = 0, failures = 0;
    for (const QString &argument : app.arguments().mid(1)) {
        if (!QFileInfo(argument).isDir()) {
            failures += replayFile(argument);
            ++replayed;
            continue;
        }
        QDirIterator files(argument, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            failures += replayFile(files.next());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed, %d unreadable\n", replayed, failures);
    return failures == 0 && replayed > 0 ? 0 : 1;
}
