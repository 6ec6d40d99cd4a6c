#include "profilecarousel.h"

#include "profilemeta.h"

QList<CatalogProfile> readProfileCatalog()
{
    QList<CatalogProfile> catalog;
    for (const GamepadProfileInfo &info : profileCatalog()) {
        if (info.isNull())
            continue;
        CatalogProfile profile{info, 0, 0};
        GamepadProfileMeta meta;
        if (readProfileMeta(info.folder, &meta, nullptr)) {
            profile.vendorId = meta.vendorId;
            profile.productId = meta.productId;
        }
        catalog.append(profile);
    }
    return catalog;
}

ProfileCarousel::ProfileCarousel(const QList<CatalogProfile> &catalog, const QString &deviceName,
                                 quint32 vendorId, quint32 productId)
{
    const QString name = deviceName.trimmed();
    for (const CatalogProfile &profile : catalog) {
        const bool sameModel = vendorId != 0 && productId != 0 && profile.vendorId == vendorId &&
                               profile.productId == productId;
        const bool named =
            !name.isEmpty() && profile.info.deviceNames.contains(name, Qt::CaseInsensitive);
        if (sameModel || named)
            m_profiles.append(profile.info);
    }
}

int ProfileCarousel::indexOf(const QUuid &id) const
{
    if (id.isNull())
        return -1;
    for (int i = 0; i < count(); ++i)
        if (m_profiles.at(i).id == id)
            return i;
    return -1;
}

GamepadProfileInfo ProfileCarousel::find(const QUuid &id) const
{
    const int i = indexOf(id);
    return i < 0 ? GamepadProfileInfo() : m_profiles.at(i);
}

GamepadProfileInfo ProfileCarousel::step(const QUuid &current, int delta) const
{
    const int n = count();
    if (delta == 0 || n == 0)
        return {};
    const int at = indexOf(current);
    // The remainder keeps the sign of delta, so a negative delta steps backwards.
    const int next = at < 0 ? (delta > 0 ? 0 : n - 1) : (at + (n + delta % n)) % n;
    return m_profiles.at(next);
}
