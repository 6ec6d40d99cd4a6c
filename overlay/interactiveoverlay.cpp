#include "interactiveoverlay.h"

#include "dialogseam.h"
#include "overlaybindings.h"
#include "pastillegeometry.h"
#include "toucharea.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QRegularExpression>
#include <QTimer>

namespace {

// Pastilles a smaller layout leaves unused wait hidden for the next larger one, up to this many.
constexpr qsizetype kMaxSparePastilles = 1000;

OverlaySlot *slotOf(OverlayNode &node, const QString &label)
{
    for (OverlaySlot &slot : node.sources) {
        if (slot.label == label)
            return &slot;
    }
    return nullptr;
}

// A cross whose two slots listen to axes is named after them ("Joy 0/1"), unless the user has
// given it a name of their own.
void composeCrossTitle(OverlayNode &node)
{
    static const QRegularExpression automatic(QStringLiteral("^(Double Joy \\d+|Joy \\d+/\\d+)$"));
    static const QRegularExpression axisKey(QStringLiteral("^joy_(\\d+)$"));
    if (node.kind != ::ElementKind::DualJoyCross || node.sources.size() < 2 ||
        !automatic.match(node.title).hasMatch())
        return;
    const auto x = axisKey.match(node.sources[0].source.stringKey);
    const auto y = axisKey.match(node.sources[1].source.stringKey);
    if (x.hasMatch() && y.hasMatch())
        node.title = QStringLiteral("Joy %1/%2").arg(x.captured(1), y.captured(1));
}

QStringList boundActions(const OverlayNode &node)
{
    QStringList actions;
    for (const OverlaySlot &slot : node.sources) {
        if (!isEmptyBinding(slot.binding))
            actions << bindingActionName(slot.binding);
    }
    return actions;
}

// A pastille leaves at once but is destroyed later: it may be the sender of the signal that
// removes it.
void discardPastille(TouchArea *pastille, QObject *owner)
{
    pastille->disconnect(owner);
    pastille->hide();
    pastille->deleteLater();
}

} // namespace

InteractiveOverlay::InteractiveOverlay(QWidget *parent) : OverlayLines(parent)
{
    m_releaseTimer = new QTimer(this);
    m_releaseTimer->setInterval(0);
    connect(m_releaseTimer, &QTimer::timeout, this, &InteractiveOverlay::releaseHeldPastilles);
    connect(this, &OverlayLines::backgroundPixmapChanged, this,
            &InteractiveOverlay::placeAllPastilles);
    connect(this, &OverlayLines::backgroundScaleModeChanged, this,
            &InteractiveOverlay::placeAllPastilles);
}

InteractiveOverlay::~InteractiveOverlay() = default;

void InteractiveOverlay::setExternalServices(const QJsonObject &services)
{
    if (services == m_externalServices)
        return;
    m_externalServices = services;
    m_catalog = extractSharedActionCatalog(services);
    refreshAllPastilles();
    Q_EMIT externalServicesChanged();
}

void InteractiveOverlay::setCatalog(const QJsonArray &catalog)
{
    m_catalog = catalog;
}

void InteractiveOverlay::setLocked(bool locked)
{
    if (locked == m_locked)
        return;
    m_locked = locked;
    refreshAllPastilles();
}

void InteractiveOverlay::setMode(Mode mode)
{
    m_mode = mode;
    setLocked(mode != Edit);
}

OverlayNode InteractiveOverlay::node(int index) const
{
    return hasNode(index) ? m_nodes[index] : OverlayNode();
}

QVector<OverlayNode> InteractiveOverlay::nodes() const
{
    return m_nodes;
}

TouchArea *InteractiveOverlay::pastille(int index) const
{
    return index >= 0 && index < m_pastilles.size() ? m_pastilles[index] : nullptr;
}

int InteractiveOverlay::indexOfPastille(const TouchArea *pastille) const
{
    return m_pastilles.indexOf(const_cast<TouchArea *>(pastille));
}

// A spare pastille renewed and brought above the others, as a new one would be; else a new one.
int InteractiveOverlay::addNode(const OverlayNode &data)
{
    const auto kind = static_cast<TouchArea::ElementKind>(data.kind);
    TouchArea *p = m_spares.isEmpty() ? nullptr : m_spares.takeLast();
    if (p) {
        p->renew(kind);
        p->raise();
    } else {
        p = new TouchArea(this);
        p->setElementKind(kind);
        connect(p, &TouchArea::clicked, this, &InteractiveOverlay::onPastilleClicked);
        connect(p, &TouchArea::activated, this, &InteractiveOverlay::pastilleActivated);
        connect(p, &TouchArea::moved, this, &InteractiveOverlay::onPastilleGeometryChanged);
        connect(p, &TouchArea::resized, this, &InteractiveOverlay::onPastilleGeometryChanged);
        connect(p, &TouchArea::titleEdited, this, &InteractiveOverlay::onPastilleTitleEdited);
        connect(p, &TouchArea::requestDelete, this, &InteractiveOverlay::onDeleteRequested);
        connect(p, &TouchArea::requestDuplicate, this, &InteractiveOverlay::onDuplicateRequested);
    }
    p->setId(data.id);
    p->setTitle(data.title);
    p->setFreeAspect(data.freeAspect);
    m_nodes.append(data);
    m_pastilles.append(p);
    p->show();
    return m_nodes.size() - 1;
}

// The next pastille of the previous layout, renewed for `data`.
int InteractiveOverlay::renewNode(const OverlayNode &data)
{
    const int index = m_nodes.size();
    TouchArea *p = m_pastilles[index];
    p->renew(static_cast<TouchArea::ElementKind>(data.kind));
    p->setId(data.id);
    p->setTitle(data.title);
    p->setFreeAspect(data.freeAspect);
    m_nodes.append(data);
    return index;
}

int InteractiveOverlay::createNode(::ElementKind kind, const QString &title, const QPoint &centre)
{
    OverlayNode data = makeOverlayNode(
        kind, title.trimmed().isEmpty() ? defaultTitle(kind, nextTitleNumber()) : title);
    data.freeAspect = kind != ::ElementKind::Button;
    const int index = addNode(data);
    TouchArea *p = m_pastilles[index];
    QRect rect(QPoint(), createdPastilleSize(kind));
    rect.moveCenter(centre);
    if (!size().isEmpty())
        rect = keptInsideParent(rect, size());
    p->setFixedSize(rect.size());
    p->move(rect.topLeft());
    rememberGeometry(index);
    refreshPastille(index);
    return index;
}

void InteractiveOverlay::removeNode(int index)
{
    if (!hasNode(index))
        return;
    discardPastille(m_pastilles.takeAt(index), this);
    m_nodes.removeAt(index);
    if (m_listening == index) {
        m_listening = -1;
        m_listeningSlot.clear();
    } else if (m_listening > index) {
        --m_listening;
    }
    const int previousSelection = m_selected;
    if (m_selected == index)
        m_selected = -1;
    else if (m_selected > index)
        --m_selected;
    refreshAllPastilles();
    if (m_selected != previousSelection)
        Q_EMIT selectedNodeChanged(m_selected);
}

int InteractiveOverlay::duplicateSelectedNode()
{
    if (m_selected < 0)
        return -1;
    const OverlayNode original = m_nodes[m_selected];
    const QRect from = m_pastilles[m_selected]->geometry();
    QRect rect = from.translated(duplicateOffset(from.left(), from.width(), width()),
                                 duplicateOffset(from.top(), from.height(), height()));
    if (!size().isEmpty())
        rect = keptInsideParent(rect, size());
    const int index =
        createNode(original.kind, QStringLiteral("%1 copie").arg(original.title), rect.center());
    m_pastilles[index]->setFixedSize(rect.size());
    m_pastilles[index]->move(rect.topLeft());
    rememberGeometry(index);
    OverlayNode &copy = m_nodes[index];
    copy.split = original.split;
    copy.publishMode = original.publishMode;
    copy.sources = original.sources;
    setSelectedNode(index);
    return index;
}

bool InteractiveOverlay::renameNode(int index, const QString &title)
{
    const QString trimmed = title.trimmed();
    if (!hasNode(index) || trimmed.isEmpty() || trimmed == m_nodes[index].title)
        return false;
    m_nodes[index].title = trimmed;
    m_pastilles[index]->setTitle(trimmed);
    Q_EMIT dirty();
    return true;
}

void InteractiveOverlay::setNodeSplit(int index, bool split)
{
    if (!hasNode(index) || m_nodes[index].kind != ::ElementKind::DualJoyCross ||
        m_nodes[index].split == split)
        return;
    m_nodes[index].split = split;
    Q_EMIT dirty();
}

void InteractiveOverlay::setNodePublishMode(int index, ::PublishMode mode)
{
    if (!hasNode(index) || m_nodes[index].publishMode == mode)
        return;
    m_nodes[index].publishMode = mode;
    Q_EMIT dirty();
}

bool InteractiveOverlay::setNodeSource(int index, const QString &slotLabel,
                                       const OverlaySource &source)
{
    OverlaySlot *slot = hasNode(index) ? slotOf(m_nodes[index], slotLabel) : nullptr;
    if (!slot)
        return false;
    slot->source = source;
    refreshPastille(index);
    Q_EMIT dirty();
    return true;
}

int InteractiveOverlay::bindActionToInput(const QString &actionName, const QString &inputKey)
{
    const QJsonObject binding = quickMappingBinding(actionName);
    const QString key = inputKey.trimmed();
    if (binding.isEmpty() || key.isEmpty())
        return 0;
    int bound = 0;
    for (OverlayNode &node : m_nodes) {
        for (OverlaySlot &slot : node.sources) {
            if (slot.source.stringKey.compare(key, Qt::CaseInsensitive) == 0) {
                slot.binding = binding;
                ++bound;
            }
        }
    }
    if (bound > 0) {
        refreshAllPastilles();
        Q_EMIT dirty();
    }
    return bound;
}

bool InteractiveOverlay::applyMapping(const QJsonArray &bridges)
{
    const bool understood = applyMappingBridges(bridges, &m_nodes);
    refreshAllPastilles();
    return understood;
}

OverlaySource InteractiveOverlay::sourceOf(int index, const QString &slotLabel) const
{
    if (!hasNode(index))
        return defaultSource(slotLabel == QLatin1String("Bouton") ? ::ElementKind::Button
                                                                  : ::ElementKind::SingleJoy);
    return ::sourceOf(m_nodes[index], slotLabel);
}

void InteractiveOverlay::setSelectedNode(int index)
{
    if (!hasNode(index))
        index = -1;
    if (index == m_selected)
        return;
    const int previous = m_selected;
    m_selected = index;
    refreshPastille(previous);
    refreshPastille(index);
    Q_EMIT selectedNodeChanged(m_selected);
}

bool InteractiveOverlay::startListening(int index, const QString &slotLabel)
{
    if (!hasNode(index) || !slotLabels(m_nodes[index].kind).contains(slotLabel))
        return false;
    setSelectedNode(index);
    const int previous = m_listening;
    m_listening = index;
    m_listeningSlot = slotLabel;
    refreshPastille(previous);
    refreshPastille(index);
    Q_EMIT dirty();
    return true;
}

bool InteractiveOverlay::completeListening(const QString &inputKey)
{
    const QString key = inputKey.trimmed();
    if (m_listening < 0 || key.isEmpty())
        return false;
    OverlayNode &node = m_nodes[m_listening];
    OverlaySlot *slot = slotOf(node, m_listeningSlot);
    if (!slot)
        return false;
    slot->source.stringKey = key;
    slot->source.isJoy = key.startsWith(QLatin1String("joy_"));
    composeCrossTitle(node);
    m_pastilles[m_listening]->setTitle(node.title);
    stopListening();
    Q_EMIT dirty();
    return true;
}

void InteractiveOverlay::stopListening()
{
    const int previous = m_listening;
    m_listening = -1;
    m_listeningSlot.clear();
    refreshPastille(previous);
}

QJsonObject InteractiveOverlay::serialize() const
{
    OverlayDocument document;
    document.overlaySize = size();
    document.bgMode = toDocumentMode(backgroundScaleMode());
    document.nodes = m_nodes;
    return overlayDocumentToJson(document);
}

bool InteractiveOverlay::load(const QJsonObject &object)
{
    OverlayDocument document;
    if (!overlayDocumentFromJson(object, {size(), pictureSize()}, &document))
        return false;
    // The pastilles of the previous layout serve this one, renewed, and those it does not need
    // wait hidden for the next: switching between profiles makes and destroys few widgets.
    while (m_pastilles.size() > document.nodes.size()) {
        TouchArea *p = m_pastilles.takeLast();
        if (m_spares.size() < kMaxSparePastilles) {
            p->hide();
            m_spares.append(p);
        } else {
            discardPastille(p, this);
        }
    }
    const qsizetype kept = m_pastilles.size();
    m_nodes.clear();
    const bool hadSelection = m_selected != -1;
    m_selected = -1;
    m_listening = -1;
    m_listeningSlot.clear();
    const bool inBatches = document.nodes.size() > kPastillesPerPaint;
    for (const OverlayNode &data : std::as_const(document.nodes)) {
        const int index = m_nodes.size() < kept ? renewNode(data) : addNode(data);
        if (!placePastille(index)) { // where a new pastille stands
            m_pastilles[index]->setFixedSize(TouchArea::kNewSide, TouchArea::kNewSide);
            m_pastilles[index]->move(0, 0);
        }
        refreshPastille(index);
        m_pastilles[index]->setPaintingHeld(inBatches);
    }
    if (inBatches)
        m_releaseTimer->start();
    m_titleCounter = m_nodes.size();
    update();
    if (hadSelection)
        Q_EMIT selectedNodeChanged(-1);
    return true;
}

QMenu *InteractiveOverlay::createContextMenu(const QPoint &pos, QWidget *menuParent)
{
    if (m_locked)
        return nullptr;
    if (auto *p = qobject_cast<TouchArea *>(childAt(pos)))
        setSelectedNode(indexOfPastille(p));

    auto *menu = new QMenu(menuParent);
    const auto addEntry = [this, menu, pos](const QString &text, ::ElementKind kind) {
        connect(menu->addAction(text), &QAction::triggered, this, [this, kind, pos] {
            createNode(kind, QString(), pos);
            Q_EMIT dirty();
        });
    };
    addEntry(QStringLiteral("Ajouter un joy"), ::ElementKind::SingleJoy);
    addEntry(QStringLiteral("Ajouter un double joy X/Y"), ::ElementKind::DualJoyCross);
    addEntry(QStringLiteral("Ajouter un bouton"), ::ElementKind::Button);
    if (m_selected < 0)
        return menu;

    const int index = m_selected;
    menu->addSeparator();
    connect(menu->addAction(QStringLiteral("Renommer...")), &QAction::triggered, this,
            [this, index] { promptRename(index); });
    connect(menu->addAction(QStringLiteral("Dupliquer")), &QAction::triggered, this, [this] {
        if (duplicateSelectedNode() >= 0)
            Q_EMIT dirty();
    });
    connect(menu->addAction(QStringLiteral("Supprimer")), &QAction::triggered, this, [this, index] {
        removeNode(index);
        Q_EMIT dirty();
    });
    return menu;
}

void InteractiveOverlay::resizeEvent(QResizeEvent *event)
{
    OverlayLines::resizeEvent(event);
    placeAllPastilles();
}

void InteractiveOverlay::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu *menu = createContextMenu(event->pos(), this);
    if (!menu) {
        event->ignore();
        return;
    }
    menu->exec(event->globalPos());
    delete menu;
}

bool InteractiveOverlay::placePastille(int index)
{
    const QRect rect = placeFractions(m_nodes[index].geometry, backgroundRect());
    if (rect.isEmpty())
        return false;
    m_pastilles[index]->setFixedSize(rect.size());
    m_pastilles[index]->move(rect.topLeft());
    return true;
}

void InteractiveOverlay::placeAllPastilles()
{
    for (int i = 0; i < m_nodes.size(); ++i)
        placePastille(i);
}

void InteractiveOverlay::refreshPastille(int index)
{
    if (!hasNode(index))
        return;
    TouchArea *p = m_pastilles[index];
    p->setEditable(!m_locked);
    p->setState(index == m_listening  ? TouchArea::Listening
                : index == m_selected ? TouchArea::Active
                                      : TouchArea::Normal);
    p->setSubtitle(sourceSummary(m_nodes[index]));
    p->setLabels(boundActions(m_nodes[index]));
    p->update();
}

void InteractiveOverlay::refreshAllPastilles()
{
    for (int i = 0; i < m_nodes.size(); ++i)
        refreshPastille(i);
}

void InteractiveOverlay::releaseHeldPastilles()
{
    int released = 0;
    for (TouchArea *p : std::as_const(m_pastilles)) {
        if (released == kPastillesPerPaint)
            return;
        if (p->isPaintingHeld()) {
            p->setPaintingHeld(false);
            ++released;
        }
    }
    m_releaseTimer->stop();
}

// The node keeps its place as fractions of the picture, so that it follows the picture when the
// overlay is resized.
void InteractiveOverlay::rememberGeometry(int index)
{
    const QRectF fractions = fractionsOf(QRectF(m_pastilles[index]->geometry()), backgroundRect());
    if (fractions.isValid())
        m_nodes[index].geometry = fractions;
}

void InteractiveOverlay::promptRename(int index)
{
    if (!hasNode(index))
        return;
    bool accepted = false;
    const QString text =
        dialogSeam().getText(this, QStringLiteral("Renommer l'element"), QStringLiteral("Nom :"),
                             m_nodes[index].title, &accepted);
    if (accepted)
        renameNode(index, text);
}

void InteractiveOverlay::onPastilleClicked(TouchArea *pastille)
{
    setSelectedNode(indexOfPastille(pastille));
}

void InteractiveOverlay::onPastilleGeometryChanged()
{
    const int index = indexOfPastille(qobject_cast<TouchArea *>(sender()));
    if (index < 0)
        return;
    rememberGeometry(index);
    Q_EMIT dirty();
}

void InteractiveOverlay::onPastilleTitleEdited(const QString &title)
{
    const int index = indexOfPastille(qobject_cast<TouchArea *>(sender()));
    if (index < 0)
        return;
    m_nodes[index].title = title;
    Q_EMIT dirty();
}

void InteractiveOverlay::onDeleteRequested(TouchArea *pastille)
{
    const int index = indexOfPastille(pastille);
    if (index < 0)
        return;
    removeNode(index);
    Q_EMIT dirty();
}

void InteractiveOverlay::onDuplicateRequested(TouchArea *pastille)
{
    const int index = indexOfPastille(pastille);
    if (index < 0)
        return;
    setSelectedNode(index);
    duplicateSelectedNode();
    Q_EMIT dirty();
}
