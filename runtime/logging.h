#pragma once

#include <QLoggingCategory>

// Calibration reloads and inputs without a mapping.
Q_DECLARE_LOGGING_CATEGORY(lcGamepadInput)
// One line per published axis, gate or button change; built only when enabled.
Q_DECLARE_LOGGING_CATEGORY(lcGamepadInputAxis)
