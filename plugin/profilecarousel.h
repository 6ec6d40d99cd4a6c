#pragma once

#include "profilestore.h"

#include <QList>
#include <QString>
#include <QUuid>

// A profile of the store with the controller model its metadata names (0 when unknown).
struct CatalogProfile
{
    GamepadProfileInfo info;
    quint32 vendorId = 0;
    quint32 productId = 0;
};

// Every profile of the store, each with the model read from its metadata.
QList<CatalogProfile> readProfileCatalog();

// The profiles a device card steps through: those made for one controller, in catalog order.
// A plain value; the bound profile is kept by the caller and passed in by its id.
class ProfileCarousel
{
public:
    ProfileCarousel() = default;
    // The profiles of `catalog` whose metadata names the controller's model (both ids known) or
    // lists its name (trimmed, case-insensitive).
    ProfileCarousel(const QList<CatalogProfile> &catalog, const QString &deviceName,
                    quint32 vendorId, quint32 productId);

    int count() const { return int(m_profiles.size()); }
    // Arrows and badge are worth showing only with a choice to make.
    bool isShown() const { return count() > 1; }
    const QList<GamepadProfileInfo> &profiles() const { return m_profiles; }

    // Zero-based place of the profile `id`, -1 when it is not a candidate (or null).
    int indexOf(const QUuid &id) const;
    // The badge's one-based place of the profile `id`, 0 when it is not a candidate.
    int position(const QUuid &id) const { return indexOf(id) + 1; }
    // The candidate `id`, or a null entry.
    GamepadProfileInfo find(const QUuid &id) const;
    // The candidate `delta` places from `current`, wrapping around; with no candidate bound,
    // forward starts at the first one and backward at the last. Null when `delta` is 0 or there
    // is no candidate.
    GamepadProfileInfo step(const QUuid &current, int delta) const;

private:
    QList<GamepadProfileInfo> m_profiles;
};
