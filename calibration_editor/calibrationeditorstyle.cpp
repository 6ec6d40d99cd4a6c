#include "calibrationeditorstyle.h"

namespace {

// Surfaces from dark to light, text, and the cyan accent.
const char kStyle[] = R"(
#gamepadConfigRoot, #gamepadConfigRoot QScrollArea, #calibrationCards {
    background: #18202a; color: #d8e0e8;
}
QLabel { color: #d8e0e8; background: transparent; }
#calibrationMeasureDialog { background: #18202a; }
#measureTable { background: #212b37; color: #e2e8f0; gridline-color: #2f3c4b;
    border: 1px solid #2f3c4b; }
QHeaderView, QHeaderView::section { background: #2a3644; color: #9fb0c2; border: none;
    padding: 3px 6px; }
#measureProgress { background: #212b37; border: 1px solid #2f3c4b; border-radius: 4px; }
#measureProgress::chunk { background: #22d3ee; border-radius: 3px; }
#calibrationHeader { background: #212b37; border: 1px solid #2f3c4b; border-radius: 8px; }
#calibrationHeader QLabel[class="headerTitle"] { font-size: 15px; font-weight: 600; color: #f1f5f9; }
#metaLabel, #sourceLabel, #hintLabel { color: #9fb0c2; }
#sourceLabel { color: #22d3ee; font-weight: 600; }
QLabel[class="sectionTitle"], #sectionTitle { color: #22d3ee; font-size: 14px; font-weight: 600; }
QLabel[class="sectionHint"] { color: #8193a6; }
#axisCard, #buttonCard, #gateCard {
    background: #212b37; border: 1px solid #2f3c4b; border-radius: 8px;
}
#detailsFrame { background: #1c2530; border: 1px solid #2a3644; border-radius: 6px; }
QLabel[class="axisTitle"], QLabel[class="buttonTitle"], #gateTitle {
    color: #f1f5f9; font-weight: 600;
}
QLabel[class="metricLabel"] { color: #9fb0c2; font-family: monospace; }
QLabel[class="buttonStateLabel"], #gateStateLabel { color: #8193a6; font-weight: 600; }
QLabel[class="buttonSummaryLabel"] { color: #9fb0c2; }
QLabel[class="buttonGroupTitleLabel"], #gateFieldLabel { color: #8193a6; }
#gateStateLabel[inside="true"], QLabel[class="buttonStateLabel"][pressed="true"] {
    color: #22d3ee;
}
QGroupBox { border: 1px solid #2f3c4b; border-radius: 6px; margin-top: 14px; padding-top: 4px;
    color: #9fb0c2; }
QGroupBox::title { subcontrol-origin: margin; left: 8px; padding: 0 4px; }
QComboBox, QSpinBox, QDoubleSpinBox {
    background: #18202a; color: #e2e8f0; border: 1px solid #34414f; border-radius: 4px;
    padding: 2px 6px; selection-background-color: #0e7490;
}
QComboBox:focus, QSpinBox:focus, QDoubleSpinBox:focus { border-color: #22d3ee; }
QComboBox QAbstractItemView { background: #212b37; color: #e2e8f0;
    selection-background-color: #0e7490; }
QPushButton, QToolButton {
    background: #2a3644; color: #e2e8f0; border: 1px solid #3a4a5c; border-radius: 5px;
    padding: 4px 10px;
}
QPushButton:hover, QToolButton:hover { border-color: #22d3ee; }
QPushButton:pressed, QToolButton:checked { background: #0e7490; }
QPushButton:disabled, QToolButton:disabled { color: #5b6b7c; border-color: #2a3644; }
QCheckBox { color: #d8e0e8; }
QCheckBox::indicator { width: 14px; height: 14px; border: 1px solid #3a4a5c; border-radius: 3px;
    background: #18202a; }
QCheckBox::indicator:checked { background: #22d3ee; border-color: #22d3ee; }
QScrollBar:vertical { background: #18202a; width: 10px; }
QScrollBar::handle:vertical { background: #34414f; border-radius: 5px; min-height: 24px; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; }
)";

} // namespace

QString calibrationEditorStyleSheet()
{
    return QString::fromLatin1(kStyle);
}
