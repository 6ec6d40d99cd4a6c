#include "logging.h"

// Debug lines are off unless the host enables them (QT_LOGGING_RULES or a filter).

Q_LOGGING_CATEGORY(lcGamepadInput, "kx.plugin.gamepad.input", QtInfoMsg)
Q_LOGGING_CATEGORY(lcGamepadInputAxis, "kx.plugin.gamepad.input.axis", QtInfoMsg)
