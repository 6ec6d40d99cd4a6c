#include "manetteconfigurationwidget.h"

#include "gamepaddefinder.h"

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
    content->addWidget(m_editor, 0, 0);

    connect(m_editor, &GamepadDefinder::profilesCatalogChanged, this,
            &ManetteConfigurationWidget::profilesCatalogChanged);
    m_editor->setExternalServices(m_externalServices);
}

ManetteConfigurationWidget::~ManetteConfigurationWidget() = default;

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
