#pragma once

#include <QFile>
#include <QObject>
#include <QPointer>

class ControlManette;
struct JoystickReadings;

// Records what one controller sends into a file that the monitor's --replay plays back: one
// line per poll that changes something (the readings, or what the poll published, such as a
// repeat), the first naming the controller and carrying the calibration in force. Each line is
// written whole and flushed; a failed write cuts the file back to its last whole line, stops the
// recording and reports the system's reason. Nothing is written anywhere but the file given.
class InputRecorder : public QObject
{
    Q_OBJECT

public:
    explicit InputRecorder(QObject *parent = nullptr);
    ~InputRecorder() override;

    // Starts recording `device` into `path` (created or replaced); false with the reason when
    // the file cannot be opened.
    bool start(ControlManette *device, const QString &path, QString *error);
    void stop();
    bool isRecording() const { return m_file.isOpen(); }
    QString path() const { return m_path; }
    int linesWritten() const { return m_lines; }

    // The replay lines, for one poll's readings at `timeMs`.
    static QByteArray readingsLine(qint64 timeMs, const JoystickReadings &readings);
    static QByteArray headerLine(qint64 timeMs, const JoystickReadings &readings,
                                 const ControlManette &device);

signals:
    // A write failed: the recording has stopped, what was written stays readable.
    void failed(const QString &reason);

private:
    void record(bool published);
    bool writeLine(const QByteArray &line);

    QPointer<ControlManette> m_device;
    QFile m_file;
    QString m_path;
    QByteArray m_lastReadings; // the last line's inputs, to skip polls that change nothing
    qint64 m_size = 0;         // bytes of whole lines
    int m_lines = 0;
};
