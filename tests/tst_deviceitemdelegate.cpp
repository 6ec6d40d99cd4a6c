#include "cardgeometry.h"
#include "deviceitemdelegate.h"

#include <QHelpEvent>
#include <QListView>
#include <QMenu>
#include <QPixmapCache>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>
#include <QToolTip>

#include <memory>

namespace {

// clang-format off
const QByteArrayList kNames{"usn", "name", "ip", "selected", "isConnected", "videoInterfaces",
                            "product", "image", "modelString", "linkState", "activeProfileName",
                            "activeProfilePosition", "profileCount", "hasProfileCarousel"};
// clang-format on
const int kSelectedRole = Qt::UserRole + 1 + 3;
// Hand-worked spots of a card in (0, 0, 300, 240): the picture box is (101, 22, 96, 96).
const QPoint kClose(20, 20), kLeftArrow(82, 69), kRightArrow(215, 69), kBadge(148, 103),
    kLink(183, 35);

// A device list stand-in, with or without a "selected" role, that may refuse a selection change.
class CardModel : public QStandardItemModel
{
public:
    explicit CardModel(bool withSelected = true)
    {
        QHash<int, QByteArray> names;
        for (int i = 0; i < kNames.size(); ++i)
            if (withSelected || kNames[i] != "selected")
                names.insert(Qt::UserRole + 1 + i, kNames[i]);
        setItemRoleNames(names);
    }
    bool setData(const QModelIndex &index, const QVariant &value, int role) override
    {
        return !(refuse && role == kSelectedRole) &&
               QStandardItemModel::setData(index, value, role);
    }
    QModelIndex addCard(const QString &usn, const QVariantMap &fields)
    {
        auto *item = new QStandardItem;
        item->setData(usn, Qt::UserRole + 1);
        for (auto it = fields.begin(); it != fields.end(); ++it)
            item->setData(it.value(), Qt::UserRole + 1 + kNames.indexOf(it.key().toUtf8()));
        appendRow(item);
        return item->index();
    }
    bool refuse = false;
};

QStyleOptionViewItem optionFor(QWidget *widget = nullptr)
{
    QStyleOptionViewItem option;
    option.rect = QRect(0, 0, 300, 240);
    option.widget = widget;
    return option;
}

bool click(DeviceItemDelegate &delegate, CardModel &model, QPoint pos)
{
    QMouseEvent event(QEvent::MouseButtonRelease, pos, pos, Qt::LeftButton, Qt::NoButton, {});
    return delegate.editorEvent(&event, &model, optionFor(), model.index(0, 0));
}

} // namespace

class TestDeviceItemDelegate : public QObject
{
    Q_OBJECT

private slots:
    void leftRelease_data()
    {
        QTest::addColumn<QString>("card"); // a released left click on three profiles, unless named
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<QString>("outcome"); // delete, -1, +1, toggle (model), signal or base
        QTest::newRow("close box") << "" << kClose << "delete";
        QTest::newRow("left arrow") << "" << kLeftArrow << "-1";
        QTest::newRow("right arrow") << "" << kRightArrow << "+1";
        QTest::newRow("arrow, one profile") << "one profile" << kLeftArrow << "toggle";
        QTest::newRow("arrow, carousel off") << "no carousel" << kRightArrow << "toggle";
        QTest::newRow("refused") << "refuse" << QPoint(150, 60) << "signal";
        QTest::newRow("no selected role") << "bare" << QPoint(150, 60) << "base";
        QTest::newRow("close box, no selected role") << "bare" << kClose << "delete";
    }
    void leftRelease()
    {
        QFETCH(QString, card);
        QFETCH(QPoint, pos);
        QFETCH(QString, outcome);
        CardModel model(card != "bare");
        model.refuse = card == "refuse";
        model.addCard("gp:0", {{"selected", false},
                               {"profileCount", card == "one profile" ? 1 : 3},
                               {"hasProfileCarousel", card != "no carousel"}});
        DeviceItemDelegate delegate;
        QSignalSpy toggled(&delegate, &DeviceItemDelegate::toggledSelect);
        QSignalSpy deleted(&delegate, &DeviceItemDelegate::requestDelete);
        QSignalSpy cycled(&delegate, &DeviceItemDelegate::cycleProfile);
        QCOMPARE(click(delegate, model, pos), outcome != "base");
        QCOMPARE(model.index(0, 0).data(kSelectedRole).toBool(), outcome == "toggle");
        using Calls = QList<QList<QVariant>>;
        QCOMPARE(Calls(toggled), (outcome == "signal" ? Calls{{"gp:0", true}} : Calls{}));
        QCOMPARE(deleted.count(), outcome == "delete" ? 1 : 0);
        const int delta = outcome.toInt();
        QCOMPARE(Calls(cycled), (delta ? Calls{{"gp:0", delta}} : Calls{}));
    }

    void contextMenu()
    {
        DeviceItemDelegate delegate;
        QSignalSpy toggled(&delegate, &DeviceItemDelegate::toggledSelect);
        std::unique_ptr<QMenu> menu(delegate.createContextMenu("gp:5", true));
        QStringList texts;
        for (QAction *action : menu->actions())
            texts << (action->isSeparator() ? "--" : action->text());
        QCOMPARE(texts, (QStringList{"Désélectionner", "Configurer", "--", "Supprimer"}));
        menu->actions().constFirst()->trigger();
        QCOMPARE(toggled.value(0), (QList<QVariant>{"gp:5", false}));
    }

    void tooltips_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<int>("linkState");
        QTest::addColumn<int>("position"); // of the bound "Profil B"; 0 = no profile bound
        QTest::addColumn<QString>("expected");
        // Nine chips in the strip (18, 193, 264, 28) from x 27, 28 apart, then "+1".
        // clang-format off
        QTest::newRow("axis chip") << QPoint(37, 206) << false << 2 << 2 << "Axe X: 0";
        QTest::newRow("button chip") << QPoint(65, 206) << false << 2 << 2 << "A: 12";
        QTest::newRow("leading bar") << QPoint(93, 206) << false << 2 << 2 << "|btn://1";
        QTest::newRow("first bar only") << QPoint(121, 206) << false << 2 << 2 << "Z";
        QTest::newRow("no label, no value") << QPoint(149, 206) << false << 2 << 2 << "Axe: axis://";
        QTest::newRow("case sensitive") << QPoint(177, 206) << false << 2 << 2 << "X";
        QTest::newRow("overflow chip") << QPoint(289, 206) << false << 2 << 2 << "+1";
        QTest::newRow("between chips") << QPoint(50, 206) << false << 2 << 2 << "carte";
        QTest::newRow("badge") << kBadge << false << 2 << 2 << "Profil B (2/3)";
        QTest::newRow("badge, none bound") << kBadge << false << 2 << 0 << "Aucun profil (–/3)";
        QTest::newRow("link 2") << kLink << true << 2 << 2 << "Interface: connecté";
        QTest::newRow("link 7") << kLink << true << 7 << 2 << "Interface: déconnecté";
        // clang-format on
    }
    void tooltips()
    {
        QFETCH(QPoint, pos);
        QFETCH(bool, selected);
        QFETCH(int, linkState);
        QFETCH(int, position);
        QFETCH(QString, expected);
        CardModel model;
        // clang-format off
        const QModelIndex index = model.addCard("gp:7", {
            {"selected", selected}, {"linkState", linkState},
            {"activeProfileName", position ? "Profil B" : ""}, {"activeProfilePosition", position},
            {"profileCount", 3}, {"hasProfileCarousel", true},
            {"videoInterfaces", QStringList{"Axe X|axis://0", "A|btn://12", "|btn://1",
                "Z|cmd://z|f", "axis://", "X|Axis://0", "g", "h", "i", "j"}}});
        // clang-format on
        model.setData(index, "carte", Qt::ToolTipRole);
        QListView view;
        view.setModel(&model);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        DeviceItemDelegate delegate;
        QHelpEvent event(QEvent::ToolTip, pos, view.viewport()->mapToGlobal(pos));
        QVERIFY(delegate.helpEvent(&event, &view, optionFor(view.viewport()), index));
        QCOMPARE(QToolTip::text(), expected);
    }

    // A card painted in a view, whose picture is missing: the generic pad stands in. A
    // double-click opens no editor, even over editable items.
    void cardInAView()
    {
        const QString missing = "/no/such/folder/pad.png";
        CardModel model;
        const QModelIndex index = model.addCard(
            "gp:1", {{"image", missing}, {"profileCount", 3}, {"hasProfileCarousel", true}});
        QPixmapCache::clear();
        QListView view;
        DeviceItemDelegate delegate;
        view.setItemDelegate(&delegate);
        view.setModel(&model);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.viewport()->grab();
        QPixmap cached;
        QVERIFY(!QPixmapCache::find(imageCacheKey(missing, QSize(96, 96)), &cached));
        QVERIFY(QPixmapCache::find(
            resourceCacheKey(":/new/prefix1/ressources/menette_generic.png", QSize(96, 96)),
            &cached));
        QTest::mouseDClick(view.viewport(), Qt::LeftButton, {}, view.visualRect(index).center());
        view.edit(index);
        QVERIFY(view.viewport()->findChildren<QWidget *>().isEmpty());
        QCOMPARE(delegate.createEditor(&view, optionFor(&view), index), nullptr);
    }
};

QTEST_MAIN(TestDeviceItemDelegate)
#include "tst_deviceitemdelegate.moc"
