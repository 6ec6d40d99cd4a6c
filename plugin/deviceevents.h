#pragma once

#include "comproviderevent.h"

#include <QString>

// The notifications the device list posts to the host about one controller, `name` being the
// device's name and `usn` its row identifier. The texts keep the model's translation context.
namespace DeviceEvents {

ComProviderEvent detected(const QString &name, const QString &usn);
// A selected controller that goes away is worth a warning; another one only a notice.
ComProviderEvent removed(const QString &name, const QString &usn, bool wasSelected);
ComProviderEvent linkChanged(const QString &name, const QString &usn, bool linked);

} // namespace DeviceEvents
