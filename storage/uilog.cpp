#include "uilog.h"

Q_LOGGING_CATEGORY(lcGamepadUi, "kx.plugin.gamepad.ui", QtInfoMsg)
