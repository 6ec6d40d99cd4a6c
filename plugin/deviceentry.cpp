#include "deviceentry.h"

#include "deviceregistry.h"
#include "joystickbackend.h"

#include <QCoreApplication>

namespace {

const QString kDeviceId = QStringLiteral("deviceId");
const QString kVendorHex = QStringLiteral("vendorIdHex");
const QString kProductHex = QStringLiteral("productIdHex");
const QString kName = QStringLiteral("name");
const QString kImagePath = QStringLiteral("imagePath");
const QString kCustomImage = QStringLiteral("customImage"); // the user chose the picture
const QString kActiveProfileId = QStringLiteral("activeProfileId");
const QString kActiveProfileName = QStringLiteral("activeProfileName");
const QString kNameOverride = QStringLiteral("nameOverride");
const QString kProduct = QStringLiteral("product");

quint32 hexId(const QJsonObject &kv, const QString &key)
{
    return kv.value(key).toString().toUInt(nullptr, 16);
}

QString hexText(const QJsonObject &kv, const QString &key)
{
    const QString text = kv.value(key).toString();
    return text.isEmpty() ? QStringLiteral("0") : text;
}

} // namespace

// ---- Stored values ----

bool DeviceEntry::isSelected() const
{
    return m_kv.value(kRegistrySelected).toBool();
}

void DeviceEntry::setSelected(bool selected)
{
    m_kv.insert(kRegistrySelected, selected);
}

bool DeviceEntry::setNameOverride(const QString &name)
{
    if (m_kv.value(kNameOverride).toString() == name)
        return false;
    m_kv.insert(kNameOverride, name);
    return true;
}

void DeviceEntry::setProduct(const QString &product)
{
    m_kv.insert(kProduct, product);
}

bool DeviceEntry::setImage(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString) {
        m_kv.insert(kImagePath, value.toString());
        m_kv.insert(kCustomImage, true);
        m_icon = QIcon();
    } else if (value.canConvert<QIcon>()) {
        m_icon = value.value<QIcon>();
        m_kv.remove(kImagePath);
        m_kv.remove(kCustomImage);
    } else {
        return false;
    }
    return true;
}

double DeviceEntry::lastSeen() const
{
    const QJsonValue value = m_kv.value(kRegistryLastSeen);
    return value.isDouble() ? value.toDouble() : -qInf();
}

void DeviceEntry::markSeen(qint64 msecsSinceEpoch)
{
    m_kv.insert(kRegistryLastSeen, msecsSinceEpoch);
}

QString DeviceEntry::identityKey() const
{
    return QStringLiteral("gp:%1-%2:%3")
        .arg(hexText(m_kv, kVendorHex), hexText(m_kv, kProductHex), m_kv.value(kName).toString());
}

// ---- Bound profile ----

QString DeviceEntry::activeProfileId() const
{
    return m_kv.value(kActiveProfileId).toString();
}

bool DeviceEntry::setActiveProfile(const QString &id, const QString &name)
{
    if (activeProfileId() == id && m_kv.value(kActiveProfileName).toString() == name)
        return false;
    if (id.isEmpty()) {
        m_kv.remove(kActiveProfileId);
        m_kv.remove(kActiveProfileName);
    } else {
        m_kv.insert(kActiveProfileId, id);
        m_kv.insert(kActiveProfileName, name);
    }
    applyProfile();
    return true;
}

QString DeviceEntry::activeProfileName() const
{
    const int index = m_carousel.indexOf(QUuid::fromString(activeProfileId()));
    if (index >= 0)
        return m_carousel.profiles().at(index).name;
    if (activeProfileId().isEmpty())
        return QString();
    return m_kv.value(kActiveProfileName).toString();
}

void DeviceEntry::refreshCarousel(const QList<CatalogProfile> &catalog)
{
    m_carousel =
        ProfileCarousel(catalog, deviceName(), hexId(m_kv, kVendorHex), hexId(m_kv, kProductHex));
    applyProfile();
}

// ---- Live device ----

void DeviceEntry::attach(ControlManette *device)
{
    m_device = device;
    m_attached = true;
    applyProfile(); // the row's profile, then the device's live values
}

void DeviceEntry::detach()
{
    m_device = nullptr;
    m_attached = false;
}

IComInterface *DeviceEntry::hostDevice() const
{
    if (m_device)
        return m_device.data();
    return m_standIn.data();
}

void DeviceEntry::releaseStandIn()
{
    if (m_standIn)
        m_standIn->deleteLater();
    m_standIn = nullptr;
}

bool DeviceEntry::remembers(const ControlManette &device) const
{
    return !m_device && hexId(m_kv, kVendorHex) == device.vendorId() &&
           hexId(m_kv, kProductHex) == device.productId() &&
           m_kv.value(kName).toString() == device.name();
}

void DeviceEntry::refreshLiveValues()
{
    if (!m_device)
        return;
    m_kv.insert(kDeviceId, QString::number(m_device->deviceId()));
    m_kv.insert(kVendorHex, QString::number(m_device->vendorId(), 16));
    m_kv.insert(kProductHex, QString::number(m_device->productId(), 16));
    m_kv.insert(kName, m_device->name());
    if (!m_kv.value(kCustomImage).toBool())
        m_kv.insert(kImagePath, m_device->imagePath());
}

void DeviceEntry::applyProfile()
{
    if (!m_device)
        return;
    m_device->setActiveProfileId(activeProfileId());
    m_device->setProfileName(activeProfileName());
    refreshLiveValues(); // the picture follows the bound profile
}

// The device has had the row's profile since it was attached, and each change of it since.
void DeviceEntry::start()
{
    if (m_device)
        m_device->start();
}

void DeviceEntry::stop()
{
    if (m_device)
        static_cast<IComInterface *>(m_device.data())->stop();
}

bool DeviceEntry::setLinkState(int state)
{
    if (m_linkState == state)
        return false;
    m_linkState = state;
    return true;
}

// ---- Row values ----

QString DeviceEntry::deviceName() const
{
    return m_device ? m_device->name() : m_kv.value(kName).toString();
}

QString DeviceEntry::displayName() const
{
    const QString override = m_kv.value(kNameOverride).toString();
    if (!override.isEmpty())
        return override;
    const QString profile = activeProfileName();
    return profile.isEmpty() ? deviceName() : profile;
}

QString DeviceEntry::secondLine() const
{
    if (hexId(m_kv, kVendorHex) == 0 && hexId(m_kv, kProductHex) == 0)
        return QStringLiteral("ID:%1").arg(m_kv.value(kDeviceId).toString());
    return QStringLiteral("VID:%1 PID:%2")
        .arg(m_kv.value(kVendorHex).toString(), m_kv.value(kProductHex).toString());
}

QString DeviceEntry::product() const
{
    const QString product = m_kv.value(kProduct).toString();
    return product.isEmpty() ? deviceName() : product;
}

QString DeviceEntry::modelString() const
{
    return hexText(m_kv, kVendorHex) + QLatin1Char('-') + hexText(m_kv, kProductHex);
}

QVariant DeviceEntry::image() const
{
    if (!m_icon.isNull())
        return m_icon;
    return m_kv.value(kImagePath).toString();
}

QJsonObject DeviceEntry::description() const
{
    return {{kDeviceId, m_kv.value(kDeviceId).toString()},
            {kName, deviceName()},
            {QStringLiteral("vendorId"), QStringLiteral("0x") + hexText(m_kv, kVendorHex)},
            {QStringLiteral("productId"), QStringLiteral("0x") + hexText(m_kv, kProductHex)},
            {QStringLiteral("connected"), m_linkState == kLinked},
            {QStringLiteral("kv"), m_kv}};
}

// The labels keep the model's translation context.
QStringList DeviceEntry::inputs(const JoystickBackend &joysticks) const
{
    QStringList inputs;
    if (!m_device)
        return inputs;
    const int id = m_device->deviceId();
    for (int axis = 0; axis < JoystickBackend::kMaxAxes; ++axis)
        if (joysticks.hasAxis(id, axis))
            inputs << QCoreApplication::translate("LinkerDeviceModel", "Axe %1").arg(axis) +
                          QStringLiteral("|axis://%1").arg(axis);
    const int buttons = qBound(0, joysticks.buttonCount(id), int(JoystickBackend::kMaxButtons));
    for (int button = 0; button < buttons; ++button)
        inputs << QCoreApplication::translate("LinkerDeviceModel", "Bouton %1").arg(button) +
                      QStringLiteral("|btn://%1").arg(button);
    return inputs;
}
