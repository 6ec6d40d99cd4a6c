#pragma once

#include <QLoggingCategory>

// "kx.plugin.gamepad.ui": warnings of the editors, the overlay and the documents they write.
Q_DECLARE_LOGGING_CATEGORY(lcGamepadUi)
