#pragma once

#include "overlaydocument.h"
#include "overlaylines.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QPoint>
#include <QString>
#include <QUuid>
#include <QVector>

class QMenu;
class QTimer;
class TouchArea;

// The widget laid over a controller picture in the profile editor. It owns one pastille per node,
// keeps each node's kind, sources and action bindings, tracks the selected node and the node that
// listens for an input, and reads and writes "overlay.json". While unlocked the user adds, moves,
// resizes, renames, duplicates and deletes pastilles.
class InteractiveOverlay : public OverlayLines
{
    Q_OBJECT
    Q_PROPERTY(QJsonObject externalServices READ externalServices WRITE setExternalServices NOTIFY
                   externalServicesChanged)

public:
    enum Mode { Edit, Mapping, Normal };
    Q_ENUM(Mode)
    enum PublishMode { OnChange = 0, ActiveOnly = 1, Always = 2 };
    Q_ENUM(PublishMode)
    // The document's publish modes, re-declared where Qt's meta-object system can name them.
    static_assert(OnChange == int(::PublishMode::OnChange) &&
                      ActiveOnly == int(::PublishMode::ActiveOnly) &&
                      Always == int(::PublishMode::Always),
                  "PublishMode values follow the overlay document's");
    enum ElementKind { SingleJoy = 0, DualJoyCross = 1, Button = 2 };
    Q_ENUM(ElementKind)
    // The document's kinds, re-declared where Qt's meta-object system can name them; casts
    // between the two keep the kind.
    static_assert(SingleJoy == int(::ElementKind::SingleJoy) &&
                      DualJoyCross == int(::ElementKind::DualJoyCross) &&
                      Button == int(::ElementKind::Button),
                  "ElementKind values follow the overlay document's");

    explicit InteractiveOverlay(QWidget *parent = nullptr);
    ~InteractiveOverlay() override;

    QJsonObject externalServices() const { return m_externalServices; }
    void setExternalServices(const QJsonObject &services);
    QJsonArray catalog() const { return m_catalog; }
    void setCatalog(const QJsonArray &catalog);

    bool isLocked() const { return m_locked; }
    void setLocked(bool locked);
    Mode mode() const { return m_mode; }
    // Edit unlocks the layout; Mapping and Normal lock it.
    void setMode(Mode mode);

    // A loaded layout shows this many pastilles at once, then as many more per turn of the event
    // loop, so that the window answers while a large one appears.
    static constexpr int kPastillesPerPaint = 50;

    int nodeCount() const { return m_nodes.size(); }
    bool hasNode(int index) const { return index >= 0 && index < m_nodes.size(); }
    // A node's data; its geometry is the pastille's current place as background fractions.
    OverlayNode node(int index) const;
    QVector<OverlayNode> nodes() const;
    TouchArea *pastille(int index) const;
    int indexOfPastille(const TouchArea *pastille) const;

    // Creates a pastille of that kind centred on `centre`; an empty title takes the next number.
    // Returns the new node's index.
    int createNode(::ElementKind kind, const QString &title, const QPoint &centre);
    void removeNode(int index);
    // Copies the selected node ("%1 copie", same size, moved by 28 pixels right and down, or left
    // and up on a side where that would leave the overlay); -1 without one.
    int duplicateSelectedNode();
    bool renameNode(int index, const QString &title);

    void setNodeSplit(int index, bool split);
    void setNodePublishMode(int index, ::PublishMode mode);
    bool setNodeSource(int index, const QString &slotLabel, const OverlaySource &source);
    // Gives the binding to every slot whose source key equals `inputKey` (case ignored); returns
    // how many slots took it.
    int bindActionToInput(const QString &actionName, const QString &inputKey);
    // Takes mapping bridges back onto the nodes' sources and bindings.
    bool applyMapping(const QJsonArray &bridges);

    // The source of a slot, or a default source when the node or slot does not exist.
    OverlaySource sourceOf(int index, const QString &slotLabel) const;

    int selectedNode() const { return m_selected; }
    void setSelectedNode(int index);
    int listeningNode() const { return m_listening; }
    QString listeningSlot() const { return m_listeningSlot; }
    bool startListening(int index, const QString &slotLabel);
    // Ends listening with the input that was pressed or moved: its key becomes the source's key.
    bool completeListening(const QString &inputKey);
    void stopListening();

    QJsonObject serialize() const;
    // Refuses a document of another "type" without touching the current layout.
    bool load(const QJsonObject &document);

    // The menu of an unlocked overlay for a click at `pos`; null while locked.
    QMenu *createContextMenu(const QPoint &pos, QWidget *menuParent);

signals:
    void pastilleActivated(const QUuid &id, const QString &title);
    void dirty();
    void externalServicesChanged();
    void selectedNodeChanged(int nodeIndex);
    void openFirstToolboxSettings();

protected:
    void resizeEvent(QResizeEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    int addNode(const OverlayNode &data);
    int renewNode(const OverlayNode &data);
    bool placePastille(int index);
    void placeAllPastilles();
    void refreshPastille(int index);
    void refreshAllPastilles();
    void releaseHeldPastilles();
    void rememberGeometry(int index);
    void promptRename(int index);
    void onPastilleClicked(TouchArea *pastille);
    void onPastilleGeometryChanged();
    void onPastilleTitleEdited(const QString &title);
    void onDeleteRequested(TouchArea *pastille);
    void onDuplicateRequested(TouchArea *pastille);
    int nextTitleNumber() { return ++m_titleCounter; }

    bool m_locked = false;
    Mode m_mode = Edit;
    QVector<OverlayNode> m_nodes;     // the data of each node
    QVector<TouchArea *> m_pastilles; // the widget of each node, same index
    QVector<TouchArea *> m_spares;    // hidden, for the next node
    int m_selected = -1;
    int m_listening = -1;
    QString m_listeningSlot;
    int m_titleCounter = 0;
    QJsonObject m_externalServices;
    QJsonArray m_catalog;
    QTimer *m_releaseTimer = nullptr;
};
