// Overlay documents of every version: reading never fails on bad members, and what is written
// reads back to the same document. The placement helpers get the stored geometry as it is.

#include "fuzzsupport.h"
#include "overlaydocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    const OverlayReadContext context{QSize(800, 600), QSize(640, 480)};
    OverlayDocument document;
    if (!overlayDocumentFromJson(fuzz::objectOf(fuzz::bytesOf(data, size)), context, &document))
        return 0;
    const QRect background =
        backgroundRect(document.overlaySize, context.pictureSize, document.bgMode);
    for (const OverlayNode &node : document.nodes)
        placeFractions(node.geometry, background);
    const QJsonObject written = overlayDocumentToJson(document);
    OverlayDocument reread;
    fuzz::require(overlayDocumentFromJson(written, context, &reread), "written document refused");
    fuzz::require(overlayDocumentToJson(reread) == written, "write then read");
    return 0;
}
