// Profile metadata ("meta.json"): any object reads to a record whose written form reads back to
// the same record.

#include "fuzzsupport.h"
#include "profilemeta.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    const QString folder = QStringLiteral("/profiles/fuzz");
    const GamepadProfileMeta meta =
        profileMetaFromJson(fuzz::objectOf(fuzz::bytesOf(data, size)), folder);
    const QJsonObject written = profileMetaToJson(meta);
    fuzz::require(profileMetaToJson(profileMetaFromJson(written, folder)) == written,
                  "write then read");
    return 0;
}
