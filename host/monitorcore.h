#pragma once

#include "demojoystickbackend.h"
#include "gamepadcalibration.h"
#include "joystickbackend.h"

#include <QIODevice>
#include <QStringList>
#include <QTextStream>
#include <QVariantList>

#include <optional>

// Exit codes of the monitor.
constexpr int kExitSuccess = 0;
constexpr int kExitWriteFailed = 1; // a recording could not be written
constexpr int kExitBadInput = 2;    // arguments, a calibration file or a replay line rejected

// Up to a week: QTimer counts milliseconds in an int.
constexpr int kMaxDurationSeconds = 7 * 24 * 3600;
// Replay times stay far below qint64's limit so that debounce and repeat sums cannot overflow.
constexpr double kMaxReplayTimeMs = 1e15; // about 31 700 years

struct MonitorOptions
{
    bool help = false;
    bool addVirtual = false;
    int durationMs = 0; // 0: until interrupted
    QString calibrationPath;
    QString replayPath; // "-": standard input
    QString recordPath;
    int slot = -1; // the controller recorded; -1: the first connected
};

// Reads the monitor's command line (program name first). Returns nothing when it cannot be used,
// with `error` naming the option at fault.
std::optional<MonitorOptions> parseMonitorArguments(const QStringList &arguments, QString *error);
QString monitorHelpText();

// The monitor's output line for one published batch:
// {"t": 120, "keys": ["joy_1", "but_0"], "values": [-29.89, true]}. Axis values are rounded to
// two decimals; `device` is added when it is not negative.
QString batchLine(qint64 timeMs, const QStringList &keys, const QVariantList &values,
                  int device = -1);

class ControlManette;
// Prints the batches `device` publishes on `out`, timed by the device's own clock as a recording
// of it notes them, so that its replay prints the very same lines.
void printBatchesOnDeviceClock(ControlManette *device, QTextStream &out);

// Drives one virtual controller from a recorded file, one poll per line:
// {"t": 120, "axes": [0, -35.5, null, 0, 0, 0, 0, 0], "buttons": [0, 3]}
// "t" is the device clock in milliseconds, "axes" the raw positions (null: absent), "buttons" the
// indices held down; the first line may also name the controller ("name", "vendorId",
// "productId"). Prints one batchLine per poll that publishes on `out`, diagnostics on `err`.
// The calibration in force is `calibration`, else the one the first line carries ("calibration",
// as a recording writes it), else the defaults: never the files of this machine.
// Stops at the first line that breaks the format, naming it and its field on `err`. Returns
// kExitSuccess or kExitBadInput.
int runReplay(QIODevice &input, QTextStream &out, QTextStream &err,
              const GamepadCalibration *calibration);
