// Replay files of the headless monitor: any bytes drive a virtual controller through the whole
// device poll without a crash, and the result is one of the documented exit codes.

#include "fuzzsupport.h"
#include "monitorcore.h"

#include <QBuffer>
#include <QTextStream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    QByteArray bytes = fuzz::bytesOf(data, size);
    QBuffer input(&bytes);
    input.open(QIODevice::ReadOnly);
    QString printed, diagnostics;
    QTextStream out(&printed), err(&diagnostics);
    const int code = runReplay(input, out, err, nullptr);
    fuzz::require(code == 0 || code == 2, "documented exit code");
    return 0;
}
