// Mapping documents ("configActionGamepad.json"): the bridges of any document apply to a set of
// pastilles, and the document is prepared for saving with its host sections kept.

#include "fuzzsupport.h"
#include "mappingdocument.h"

#include <QJsonArray>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    const QJsonObject document = fuzz::objectOf(fuzz::bytesOf(data, size));
    const QJsonArray bridges = document.value(QStringLiteral("bridges")).toArray();
    QVector<OverlayNode> nodes{makeOverlayNode(ElementKind::SingleJoy, QStringLiteral("Joy")),
                               makeOverlayNode(ElementKind::DualJoyCross, QStringLiteral("Cross")),
                               makeOverlayNode(ElementKind::Button, QStringLiteral("A"))};
    applyMappingBridges(bridges, &nodes);
    const QJsonArray catalog = extractSharedActionCatalog(document);
    const QJsonObject regenerated = materializeMapping(nodes, {}, catalog);
    const QJsonObject saved =
        mappingDocumentForSave(document, regenerated.value(QStringLiteral("bridges")).toArray());
    fuzz::require(saved.value(QStringLiteral("bridges")).isArray(), "bridges written");
    return 0;
}
