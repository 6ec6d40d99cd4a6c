#pragma once

#include "gamepadcalibration.h"

#include <QList>
#include <QPointF>
#include <QStringList>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QPushButton;

// A two-axis pastille of the profile's overlay that a gate can follow.
struct GateSourceOption
{
    QString key;
    int xAxis = 0;
    int yAxis = 1;
};

// "joy_%1 (%2)" when the axis has a name, "joy_%1" otherwise. `axisNames` is indexed by axis.
QString gateAxisLabel(int axis, const QStringList &axisNames);
// The key of a gate added after `gates`: "gate_%1" with the highest number in use plus one, or
// the next free number.
QString nextGateKey(const QList<GamepadCalibration::GateSettings> &gates);
// The "Front" combo: 0 "Les deux", 1 "Front montant" (enter only), 2 "Front descendant" (exit
// only). A gate that emits on neither edge shows as "Front montant".
int gateFrontIndex(const GamepadCalibration::GateSettings &gate);
void applyGateFrontIndex(GamepadCalibration::GateSettings &gate, int index);

// The plane of a gate's two axes in output units: the circle, its hysteresis ring and the live
// point of the stick.
class GatePreviewWidget : public QWidget
{
    Q_OBJECT

public:
    explicit GatePreviewWidget(QWidget *parent = nullptr);

    void setGate(const GamepadCalibration::GateSettings &gate);
    const GamepadCalibration::GateSettings &gate() const { return m_gate; }
    // Repaints only when the point or the state changed.
    void setLivePoint(const QPointF &point, bool inside);
    QPointF livePoint() const { return m_point; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    GamepadCalibration::GateSettings m_gate;
    QPointF m_point;
    bool m_inside = false;
};

// The card of one circular gate.
class GamepadGateCalibrationWidget : public QWidget
{
    Q_OBJECT

public:
    GamepadGateCalibrationWidget(const GamepadCalibration::GateSettings &gate,
                                 const QList<GateSourceOption> &sources,
                                 const QStringList &axisNames = QStringList(),
                                 QWidget *parent = nullptr);

    const GamepadCalibration::GateSettings &settings() const { return m_gate; }
    // Shows other settings (after a capture) without emitting settingsChanged.
    void setSettings(const GamepadCalibration::GateSettings &gate);
    // The live point of the gate's axes (output units) and whether it is inside: "dedans" or
    // "dehors", the "inside" property and the preview follow.
    void setLiveState(const QPointF &point, bool inside);
    bool isInside() const { return m_inside; }
    // The centre capture works only while the device is connected.
    void setCaptureEnabled(bool enabled);

signals:
    void settingsChanged(const GamepadCalibration::GateSettings &gate);
    void captureCenterRequested();
    void deleteRequested();

private:
    void buildUi();
    void fillSources();
    void showSettings();
    void edited();
    void sourceChosen(int index);

    GamepadCalibration::GateSettings m_gate;
    QList<GateSourceOption> m_sources;
    QStringList m_axisNames;
    bool m_inside = false;
    // The gate's own source, restored when the leading "historical" item is chosen again.
    QString m_legacyKey;
    int m_legacyXAxis = 0;
    int m_legacyYAxis = 1;

    QLabel *m_title = nullptr;
    QLabel *m_stateLabel = nullptr;
    GatePreviewWidget *m_preview = nullptr;
    QComboBox *m_source = nullptr;
    QDoubleSpinBox *m_centerX = nullptr;
    QDoubleSpinBox *m_centerY = nullptr;
    QDoubleSpinBox *m_radius = nullptr;
    QDoubleSpinBox *m_hysteresis = nullptr;
    QComboBox *m_front = nullptr;
    QCheckBox *m_invert = nullptr;
    QPushButton *m_capture = nullptr;
    QPushButton *m_delete = nullptr;
};
