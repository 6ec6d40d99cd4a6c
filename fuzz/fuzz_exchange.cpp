// Exchange documents from another machine: parsing and every check before a profile is made
// never crash, and what passes is within the limits that guard the files and allocations.

#include "fuzzsupport.h"
#include "profileexchange.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    QJsonObject document;
    QString error;
    if (!parseExchangeDocument(fuzz::bytesOf(data, size), &document, &error)) {
        fuzz::require(!error.isEmpty(), "refused without a message");
        return 0;
    }
    if (!exchangeLinkedNames(document).isEmpty())
        return 0;
    ExchangeContent content;
    if (!validateExchangeDocument(document, &content, &error))
        return 0;
    const QString suffix = content.imageSuffix;
    fuzz::require(!suffix.isEmpty() && suffix.size() <= kMaxImageSuffixLength, "suffix length");
    for (const QChar c : suffix)
        fuzz::require((c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9'), "suffix character");
    fuzz::require(safeImageSuffix(suffix) == suffix, "suffix not stable");
    fuzz::require(content.imageBytes.size() <= kMaxExchangeImageBytes, "image size");
    fuzz::require(!content.overlay.isEmpty(), "empty overlay accepted");
    fuzz::require(!content.name.trimmed().isEmpty() && content.name == content.name.trimmed(),
                  "name not trimmed");
    fuzz::require(!safeProfileFileName(content.name).contains(u'/'), "separator in a file name");
    return 0;
}
