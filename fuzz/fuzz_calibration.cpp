// Calibration files: any bytes parse to a calibration that normalising leaves unchanged and that
// survives a write and a read unchanged.

#include "fuzzsupport.h"
#include "gamepadcalibration.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > fuzz::kMaxInput)
        return 0;
    bool ok = false;
    QString error;
    const GamepadCalibration calibration =
        parseCalibration(fuzz::objectOf(fuzz::bytesOf(data, size)), &ok, &error, kGamepadAxisCount,
                         kGamepadButtonCount);
    fuzz::require(normalizeCalibration(calibration, kGamepadAxisCount, kGamepadButtonCount) ==
                      calibration,
                  "normalising twice");
    const QJsonObject written = calibrationToJson(calibration, {}, QString());
    const GamepadCalibration reread =
        parseCalibration(written, &ok, &error, kGamepadAxisCount, kGamepadButtonCount);
    fuzz::require(ok && calibrationToJson(reread, {}, QString()) == written, "write then read");
    return 0;
}
