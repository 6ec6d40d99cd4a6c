#include "manetteconfigurationwidget.h"

#include "gamepaddefinder.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFrame>
#include <QGridLayout>

namespace {

// The host's theme may name the glow on its application object.
QColor themeGlow()
{
    const QColor glow(qApp ? qApp->property("orqBackdropGlow").toString() : QString());
    return glow.isValid() ? glow : ManetteConfigurationWidget::kDefaultBackdropGlow;
}

} // namespace

ManetteConfigurationWidget::ManetteConfigurationWidget(QWidget *parent, GamepadManager *manager)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("ManetteConfigurationWidget"));
    setWindowTitle(QStringLiteral("Gamepad"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAutoFillBackground(false);

    auto *grid = new QGridLayout(this);
    grid->setObjectName(QStringLiteral("gridLayout"));
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);

    auto *backdrop = new QFrame(this);
    backdrop->setObjectName(QStringLiteral("orqBackdrop"));
    backdrop->setStyleSheet(backdropStyleSheet(themeGlow()));
    grid->addWidget(backdrop, 0, 0);

    auto *content = new QGridLayout(backdrop);
    content->setObjectName(QStringLiteral("gridLayoutContent"));
    content->setContentsMargins(0, 0, 0, 0);
    content->setSpacing(0);

    m_editor = new GamepadDefinder(manager, backdrop);
    m_editor->setObjectName(QStringLiteral("ManageGamepade"));
    // The editor's solid background is for a window of its own; here the backdrop shows through
    // around and between its panels.
    m_editor->setAttribute(Qt::WA_StyledBackground, false);
    content->addWidget(m_editor, 0, 0);

    connect(m_editor, &GamepadDefinder::profilesCatalogChanged, this,
            &ManetteConfigurationWidget::profilesCatalogChanged);
    m_editor->setExternalServices(m_externalServices);
}

ManetteConfigurationWidget::~ManetteConfigurationWidget() = default;

// The window this widget sits in may be the host's own: its close is heard through a filter, and
// refused when the editor has edits the user chose to keep open.
void ManetteConfigurationWidget::showEvent(QShowEvent *event)
{
    QWidget *top = window();
    if (top != m_closeGuarded) {
        if (m_closeGuarded)
            m_closeGuarded->removeEventFilter(this);
        m_closeGuarded = top;
        if (top != this)
            top->installEventFilter(this);
    }
    QWidget::showEvent(event);
}

void ManetteConfigurationWidget::closeEvent(QCloseEvent *event)
{
    if (!m_editor->requestClose())
        event->ignore();
    else
        QWidget::closeEvent(event);
}

bool ManetteConfigurationWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_closeGuarded && event->type() == QEvent::Close &&
        !m_editor->requestClose()) {
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void ManetteConfigurationWidget::setExternalServices(const QJsonObject &services)
{
    m_externalServices = services;
    m_editor->setExternalServices(services);
}

QString ManetteConfigurationWidget::backdropStyleSheet(const QColor &glow)
{
    // Only the frame itself: the editor inside keeps its own look.
    return QStringLiteral("QFrame#orqBackdrop {"
                          " background: qradialgradient(cx:0.5, cy:0, radius:1.1, fx:0.5, fy:0,"
                          " stop:0 %1, stop:0.55 #111a22, stop:1 #0b1117);"
                          " border: none; }")
        .arg(glow.name());
}
