#include "cardgeometry.h"
#include "deviceitemdelegate.h"

#include <QHelpEvent>
#include <QListView>
#include <QMenu>
#include <QMouseEvent>
#include <QPixmapCache>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>
#include <QToolTip>

namespace {

// clang-format off
const QByteArrayList kNames{"usn", "name", "ip", "selected", "isConnected", "videoInterfaces",
                            "product", "image", "modelString", "linkState", "activeProfileName",
                            "activeProfilePosition", "profileCount", "hasProfileCarousel"};
// clang-format on
const int kSelectedRole = Qt::UserRole + 1 + 3;
const QRect kItem(0, 0, 300, 240);

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
    option.rect = kItem;
    option.widget = widget;
    return option;
}

bool click(DeviceItemDelegate &delegate, CardModel &model, QPoint pos,
           Qt::MouseButton button = Qt::LeftButton, QEvent::Type type = QEvent::MouseButtonRelease,
           QWidget *widget = nullptr)
{
    QMouseEvent event(type, pos, pos, button, Qt::NoButton, Qt::NoModifier);
    return delegate.editorEvent(&event, &model, optionFor(widget), model.index(0, 0));
}

} // namespace

class TestDeviceItemDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leftRelease_data()
    {
        QTest::addColumn<int>("profiles");
        QTest::addColumn<bool>("carousel");
        QTest::addColumn<bool>("refuse");
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<QString>("outcome"); // delete, -1, +1, toggle (model) or signal
        const QPoint left = cardLeftArrowRect(kItem).center();
        const QPoint right = cardRightArrowRect(kItem).center();
        QTest::newRow("close box") << 3 << true << false << QPoint(20, 20) << "delete";
        QTest::newRow("left arrow") << 3 << true << false << left << "-1";
        QTest::newRow("right arrow") << 3 << true << false << right << "+1";
        QTest::newRow("arrow, one profile") << 1 << true << false << left << "toggle";
        QTest::newRow("arrow, carousel off") << 3 << false << false << right << "toggle";
        QTest::newRow("margin") << 3 << true << false << QPoint(2, 120) << "toggle";
        QTest::newRow("refused") << 3 << true << true << QPoint(150, 60) << "signal";
    }
    void leftRelease()
    {
        QFETCH(int, profiles);
        QFETCH(bool, carousel);
        QFETCH(bool, refuse);
        QFETCH(QPoint, pos);
        QFETCH(QString, outcome);
        CardModel model;
        model.refuse = refuse;
        model.addCard(
            "gp:0",
            {{"selected", false}, {"profileCount", profiles}, {"hasProfileCarousel", carousel}});
        DeviceItemDelegate delegate;
        QSignalSpy toggled(&delegate, &DeviceItemDelegate::toggledSelect);
        QSignalSpy deleted(&delegate, &DeviceItemDelegate::requestDelete);
        QSignalSpy cycled(&delegate, &DeviceItemDelegate::cycleProfile);
        QVERIFY(click(delegate, model, pos));

        QCOMPARE(model.index(0, 0).data(kSelectedRole).toBool(), outcome == "toggle");
        QCOMPARE(toggled.count(), outcome == "signal" ? 1 : 0);
        if (!toggled.isEmpty())
            QCOMPARE(toggled.first(), (QList<QVariant>{"gp:0", true}));
        QCOMPARE(deleted.count(), outcome == "delete" ? 1 : 0);
        const int delta = outcome.toInt();
        QCOMPARE(cycled.count(), delta ? 1 : 0);
        if (delta)
            QCOMPARE(cycled.first(), (QList<QVariant>{"gp:0", delta}));
    }

    void eventsLeftToTheBaseClass()
    {
        CardModel bare(false);
        bare.addCard("gp:1", {});
        DeviceItemDelegate delegate;
        QSignalSpy deleted(&delegate, &DeviceItemDelegate::requestDelete);
        QVERIFY(!click(delegate, bare, QPoint(150, 180)));
        QVERIFY(!click(delegate, bare, QPoint(20, 20), Qt::LeftButton, QEvent::MouseButtonPress));
        QVERIFY(!click(delegate, bare, QPoint(20, 20), Qt::MiddleButton));
        QCOMPARE(deleted.count(), 0);
        QVERIFY(click(delegate, bare, QPoint(20, 20))); // the close box works without selection
        QCOMPARE(deleted.count(), 1);
    }

    void contextMenu_data()
    {
        QTest::addColumn<bool>("selected");
        QTest::addColumn<QString>("toggleText");
        QTest::newRow("selected card") << true << "Désélectionner";
        QTest::newRow("unselected card") << false << "Sélectionner";
    }
    void contextMenu()
    {
        QFETCH(bool, selected);
        QFETCH(QString, toggleText);
        CardModel model;
        model.addCard("gp:5", {{"selected", selected}});
        DeviceItemDelegate delegate;
        QSignalSpy toggled(&delegate, &DeviceItemDelegate::toggledSelect);
        QSignalSpy config(&delegate, &DeviceItemDelegate::requestConfig);
        QSignalSpy deleted(&delegate, &DeviceItemDelegate::requestDelete);
        QWidget host;
        QVERIFY(click(delegate, model, QPoint(150, 120), Qt::RightButton,
                      QEvent::MouseButtonRelease, &host));
        QMenu *menu = host.findChild<QMenu *>();
        QVERIFY(menu);
        QStringList texts;
        for (QAction *action : menu->actions()) {
            texts << (action->isSeparator() ? "--" : action->text());
            action->trigger();
        }
        QCOMPARE(texts, (QStringList{toggleText, "Configurer", "--", "Supprimer"}));
        QCOMPARE(toggled.value(0), (QList<QVariant>{"gp:5", !selected}));
        QCOMPARE(config.value(0), QList<QVariant>{"gp:5"});
        QCOMPARE(deleted.value(0), QList<QVariant>{"gp:5"});
        QCOMPARE(model.index(0, 0).data(kSelectedRole).toBool(), selected); // the menu only asks
    }

    void tooltips_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<int>("linkState");
        QTest::addColumn<QString>("expected");
        // Six chips in the strip (18, 193, 264, 28) start at x 69, 28 apart.
        const QPoint link = cardLinkStateRect(kItem).center();
        const QString profile = "Profil B (2/3)";
        QTest::newRow("axis chip") << QPoint(79, 206) << false << 2 << "Axe X: 0";
        QTest::newRow("button chip") << QPoint(107, 206) << false << 2 << "Tir: 3";
        QTest::newRow("other chip") << QPoint(135, 206) << false << 2 << "Zoom";
        QTest::newRow("leading bar") << QPoint(163, 206) << false << 2 << "|btn://1";
        QTest::newRow("between chips") << QPoint(92, 206) << false << 2 << "carte";
        QTest::newRow("badge") << cardBadgeRect(kItem).center() << false << 2 << profile;
        QTest::newRow("left arrow") << cardLeftArrowRect(kItem).center() << false << 2 << profile;
        QTest::newRow("right arrow") << cardRightArrowRect(kItem).center() << false << 2 << profile;
        QTest::newRow("link 2") << link << true << 2 << "Interface: connecté";
        QTest::newRow("link 1") << link << true << 1 << "Interface: connexion en cours";
        QTest::newRow("link 0") << link << true << 0 << "Interface: déconnecté";
        QTest::newRow("link 7") << link << true << 7 << "Interface: déconnecté";
        QTest::newRow("link, unselected") << link << false << 2 << "carte";
    }
    void tooltips()
    {
        QFETCH(QPoint, pos);
        QFETCH(bool, selected);
        QFETCH(int, linkState);
        QFETCH(QString, expected);
        CardModel model;
        // clang-format off
        const QModelIndex index = model.addCard("gp:7", {
            {"selected", selected}, {"linkState", linkState}, {"activeProfileName", "Profil B"},
            {"activeProfilePosition", 2}, {"profileCount", 3}, {"hasProfileCarousel", true},
            {"videoInterfaces", QStringList{"Axe X|axis://0", "Tir|btn://3", "Zoom|cmd://zoom",
                                            "|btn://1", "a", "b"}}});
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

    // Four cards as the host shows them; the picture is kept in the build folder for a look.
    void renderCards()
    {
        const QString pictures = ":/new/prefix1/ressources/";
        const QString missing = "/no/such/folder/pad.png";
        const QStringList controls{"Axe X|axis://0", "Axe Y|axis://1", "Tir|btn://0", "Zoom|z"};
        CardModel model;
        // clang-format off
        model.addCard("gp:0", {{"name", "Manette pilote"}, {"product", "Xbox 360 Controller"},
            {"modelString", "45e-28e"}, {"selected", true}, {"isConnected", true},
            {"linkState", 2}, {"image", pictures + "menette_id_654.png"},
            {"videoInterfaces", controls}});
        model.addCard("gp:1", {{"name", "Manette copilote"}, {"product", "Wireless Controller"},
            {"modelString", "54c-9cc"}, {"isConnected", true}, {"linkState", 1},
            {"image", QIcon(pictures + "menette_id_2508.png")}});
        model.addCard("gp:2", {{"ip", "ID:3"}, {"modelString", "0-0"}, {"image", missing},
            {"videoInterfaces", QString("abcdefghijk").split("", Qt::SkipEmptyParts)}});
        model.addCard("gp:3", {{"name", "Profil course"}, {"product", "Pro Controller"},
            {"modelString", "57e-2009"}, {"isConnected", true}, {"linkState", 2},
            {"image", pictures + "menette_id_8201.png"}, {"activeProfileName", "Profil course"},
            {"activeProfilePosition", 2}, {"profileCount", 3}, {"hasProfileCarousel", true},
            {"videoInterfaces", controls.mid(2)}});
        // clang-format on
        QPixmapCache::clear();
        QListView view;
        view.setViewMode(QListView::IconMode);
        view.setSpacing(4);
        view.setStyleSheet("QListView { background: #10161d; border: none; }");
        view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        DeviceItemDelegate delegate;
        view.setItemDelegate(&delegate);
        view.setModel(&model);
        view.resize(640, 500);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const QImage shot = view.grab().toImage();
        QVERIFY(shot.save(QStringLiteral(GAMEPAD_TEST_OUTPUT "/device_cards.png")));

        // Pictures went through the shared cache; the missing one fell back to the generic pad.
        QPixmap cached;
        const QSize box(96, 96);
        QVERIFY(QPixmapCache::find(imageCacheKey(pictures + "menette_id_654.png", box), &cached));
        QVERIFY(!QPixmapCache::find(imageCacheKey(missing, box), &cached));
        QVERIFY(
            QPixmapCache::find(resourceCacheKey(pictures + "menette_generic.png", box), &cached));
        // Only the selected card wears the cyan accent on its border.
        const auto border = [&](int row) {
            const QRect card = cardRect(view.visualRect(model.index(row, 0)));
            return shot.pixelColor(card.center().x(), card.top());
        };
        QVERIFY(border(0).blue() > 180 && border(0).red() < 60);
        QVERIFY(border(1).blue() < 160);
    }
};

QTEST_MAIN(TestDeviceItemDelegate)
#include "tst_deviceitemdelegate.moc"
