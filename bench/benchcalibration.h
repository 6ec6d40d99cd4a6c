#pragma once

#include "gamepadcalibration.h"

// A full controller: 8 axes and 32 buttons streaming in ActiveOnly mode, one gate per stick pair.
inline GamepadCalibration fullBenchCalibration()
{
    GamepadCalibration calibration = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
    for (int i = 0; i < 4; ++i) {
        GamepadCalibration::GateSettings gate = defaultGateSettings(i);
        gate.xAxis = 2 * i;
        gate.yAxis = 2 * i + 1;
        calibration.gates.append(gate);
    }
    return normalizeCalibration(calibration, kGamepadAxisCount, kGamepadButtonCount);
}
