#pragma once

#include <QColor>
#include <QJsonObject>
#include <QPointer>
#include <QString>
#include <QWidget>

class GamepadDefinder;
class GamepadManager;

// The central widget of the configuration window the host shows: a backdrop around one profile
// editor. It hands the host's services object to the editor and forwards the editor's news about
// the profiles on disk, so the host's device cards can refresh their carousels.
class ManetteConfigurationWidget : public QWidget
{
    Q_OBJECT

public:
    // The glow of the backdrop when the host's theme names none.
    static constexpr QColor kDefaultBackdropGlow{31, 78, 104};

    // `manager` supplies the connected controllers; null means the process-wide one.
    explicit ManetteConfigurationWidget(QWidget *parent = nullptr,
                                        GamepadManager *manager = nullptr);
    ~ManetteConfigurationWidget() override;

    QJsonObject externalServices() const { return m_externalServices; }
    void setExternalServices(const QJsonObject &services);

    GamepadDefinder *editor() const { return m_editor; }

    // The backdrop's style sheet: a dark radial gradient that glows from the top centre.
    static QString backdropStyleSheet(const QColor &glow);

signals:
    void profilesCatalogChanged();

protected:
    // Closing the window (this widget's, or the host's window around it) first lets the editor
    // save or settle its edits; the user may choose to stay.
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    GamepadDefinder *m_editor = nullptr;
    QPointer<QWidget> m_closeGuarded;
    QJsonObject m_externalServices;
};
