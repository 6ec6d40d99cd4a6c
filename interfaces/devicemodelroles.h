#pragma once

#include <QByteArray>
#include <QHash>
#include <Qt>

// The roles of the host's device list and the names under which roleNames() publishes them.
// The card delegate finds each role by its name, so any model that publishes these names can
// feed it; the device list model publishes exactly these values.
namespace DeviceModelRoles {

enum Role : int {
    Usn = Qt::UserRole + 1,
    Name,
    Ip,
    Selected,
    IsConnected,
    VideoInterfaces,
    Json,
    Product,
    Image,
    ModelString,
    LinkState,
    ActiveProfileId,
    ActiveProfileName,
    ActiveProfilePosition,
    ProfileCount,
    HasProfileCarousel,
};

struct RoleName
{
    Role role;
    const char *name;
};

// Every role once, in role order.
inline constexpr RoleName kRoleNames[] = {
    {Usn, "usn"},
    {Name, "name"},
    {Ip, "ip"},
    {Selected, "selected"},
    {IsConnected, "isConnected"},
    {VideoInterfaces, "videoInterfaces"},
    {Json, "json"},
    {Product, "product"},
    {Image, "image"},
    {ModelString, "modelString"},
    {LinkState, "linkState"},
    {ActiveProfileId, "activeProfileId"},
    {ActiveProfileName, "activeProfileName"},
    {ActiveProfilePosition, "activeProfilePosition"},
    {ProfileCount, "profileCount"},
    {HasProfileCarousel, "hasProfileCarousel"},
};

inline constexpr int kCount = int(sizeof(kRoleNames) / sizeof(kRoleNames[0]));
static_assert(kCount == HasProfileCarousel - Usn + 1, "one name per role");

inline QHash<int, QByteArray> roleNames()
{
    QHash<int, QByteArray> names;
    for (const RoleName &role : kRoleNames)
        names.insert(role.role, QByteArray(role.name));
    return names;
}

} // namespace DeviceModelRoles
