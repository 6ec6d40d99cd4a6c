#include "deviceevents.h"

#include <QCoreApplication>

namespace DeviceEvents {

ComProviderEvent detected(const QString &name, const QString &usn)
{
    return {ComProviderEvent::Information,
            QCoreApplication::translate("LinkerDeviceModel", "Gamepad detected"),
            QCoreApplication::translate("LinkerDeviceModel", "%1 (%2) is now available.")
                .arg(name, usn)};
}

ComProviderEvent removed(const QString &name, const QString &usn, bool wasSelected)
{
    const QString message =
        QCoreApplication::translate("LinkerDeviceModel", "%1 (%2) is no longer available.")
            .arg(name, usn);
    if (wasSelected)
        return {ComProviderEvent::Warning,
                QCoreApplication::translate("LinkerDeviceModel", "Selected gamepad disconnected"),
                message};
    return {ComProviderEvent::Information,
            QCoreApplication::translate("LinkerDeviceModel", "Gamepad removed"), message};
}

ComProviderEvent linkChanged(const QString &name, const QString &usn, bool linked)
{
    if (linked)
        return {ComProviderEvent::Information,
                QCoreApplication::translate("LinkerDeviceModel", "Gamepad connected"),
                QCoreApplication::translate("LinkerDeviceModel", "%1 (%2) is connected.")
                    .arg(name, usn)};
    return {ComProviderEvent::Warning,
            QCoreApplication::translate("LinkerDeviceModel", "Gamepad connection lost"),
            QCoreApplication::translate("LinkerDeviceModel", "%1 (%2) is no longer responding.")
                .arg(name, usn)};
}

} // namespace DeviceEvents
