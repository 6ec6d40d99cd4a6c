#include "cardgeometry.h"
#include "deviceitemdelegate.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

const QByteArrayList kNames = QByteArray("usn name ip selected isConnected videoInterfaces product "
                                         "image modelString linkState activeProfileName "
                                         "activeProfilePosition profileCount hasProfileCarousel")
                                  .split(' ');
const int kSelectedRole = Qt::UserRole + 1 + 3;
// Hand-worked spots of a card in kCard: the picture box is (101, 22, 96, 96).
const QRect kCard(0, 0, 300, 240);
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

static QStyleOptionViewItem optionFor(QWidget *widget = nullptr)
{
    QStyleOptionViewItem option;
    option.rect = kCard, option.widget = widget;
    return option;
}

// A card of `fields` as the delegate paints it in kCard, over `background`.
static QImage paintedCard(const QVariantMap &fields, const QColor &background = Qt::transparent)
{
    CardModel model;
    QImage image(kCard.size(), QImage::Format_ARGB32);
    image.fill(background);
    QPainter painter(&image);
    DeviceItemDelegate().paint(&painter, optionFor(), model.addCard("gp:1", fields));
    return image;
}

class TestDeviceItemDelegate : public QObject
{
    Q_OBJECT

private slots:
    // A QPainter warning fails the test: e.g. a state not restored.
    void init() { QTest::failOnWarning(QRegularExpression("QPainter")); }

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
    }
    void leftRelease()
    {
        QFETCH(QString, card);
        QFETCH(QPoint, pos);
        QFETCH(QString, outcome);
        CardModel model(card != "bare");
        model.refuse = card == "refuse";
        model.addCard("gp:0", {{"selected", false},
                               {"profileCount", card == "one profile" ? 1 : 2},
                               {"hasProfileCarousel", card != "no carousel"}});
        DeviceItemDelegate delegate;
        QSignalSpy toggled(&delegate, &DeviceItemDelegate::toggledSelect);
        QSignalSpy deleted(&delegate, &DeviceItemDelegate::requestDelete);
        QSignalSpy cycled(&delegate, &DeviceItemDelegate::cycleProfile);
        QMouseEvent press(QEvent::MouseButtonPress, pos, pos, Qt::LeftButton, Qt::LeftButton, {});
        delegate.editorEvent(&press, &model, optionFor(), model.index(0, 0)); // only releases act
        QMouseEvent release(QEvent::MouseButtonRelease, pos, pos, Qt::LeftButton, Qt::NoButton, {});
        QCOMPARE(delegate.editorEvent(&release, &model, optionFor(), model.index(0, 0)),
                 outcome != "base");
        QCOMPARE(model.index(0, 0).data(kSelectedRole).toBool(), outcome == "toggle");
        using Calls = QList<QList<QVariant>>;
        QCOMPARE(Calls(toggled), (outcome == "signal" ? Calls{{"gp:0", true}} : Calls{}));
        QCOMPARE(deleted.count(), outcome == "delete" ? 1 : 0);
        QCOMPARE(Calls(cycled), (outcome.toInt() ? Calls{{"gp:0", outcome.toInt()}} : Calls{}));
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

        QWidget view; // A right click opens it on the view; once closed it is freed.
        CardModel model;
        QMouseEvent click(QEvent::MouseButtonRelease, kBadge, kBadge, Qt::RightButton, {}, {});
        QVERIFY(delegate.editorEvent(&click, &model, optionFor(&view), model.addCard("gp:6", {})));
        QPointer<QMenu> shown = view.findChild<QMenu *>();
        QVERIFY(shown && shown->isVisible());
        shown->close(), QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!shown);
    }

    void tooltips_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<QVariantMap>("fields"); // over an unselected card, link 2, "Profil B" 1/3
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, QPoint pos, const char *expected,
                            const QVariantMap &fields = {}) {
            QTest::newRow(name) << pos << fields << QString(expected);
        };
        // Nine chips and "+1" centred on the strip (18, 193, 264, 28): from x 13, 28 apart.
        row("axis chip", QPoint(23, 206), "Axe X: 0");
        row("leading bar", QPoint(79, 206), "|btn://1");
        row("first bar only", QPoint(107, 206), "Z");
        row("no label, no value", QPoint(135, 206), "Axe: axis://");
        row("case sensitive", QPoint(163, 206), "X"), row("overflow chip", QPoint(275, 206), "+1");
        row("badge", kBadge, "Profil B (1/3)");
        row("badge, the last", kBadge, "Profil B (3/3)", {{"activeProfilePosition", 3}});
        row("badge, none bound", kBadge, "Aucun profil (–/3)",
            {{"activeProfileName", ""}, {"activeProfilePosition", 0}});
        row("link 2", kLink, "Interface: connecté", {{"selected", true}});
        row("link 7", kLink, "Interface: déconnecté", {{"selected", true}, {"linkState", 7}});
        row("link, unselected", kLink, "");
    }
    void tooltips()
    {
        QFETCH(QPoint, pos);
        QFETCH(QVariantMap, fields);
        const QStringList chips{
            "Axe X|axis://0", "A|btn://12", "|btn://1", "Z|cmd://z|f", "axis://",
            "X|Axis://0",     "g",          "h",        "i",           "j"};
        QVariantMap card{
            {"linkState", 2},    {"activeProfileName", "Profil B"}, {"activeProfilePosition", 1},
            {"profileCount", 3}, {"hasProfileCarousel", true},      {"videoInterfaces", chips}};
        card.insert(fields);
        CardModel model;
        const QModelIndex index = model.addCard("gp:7", card);
        QListView view;
        view.setModel(&model), view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        DeviceItemDelegate delegate;
        QHelpEvent event(QEvent::ToolTip, pos, view.viewport()->mapToGlobal(pos));
        const bool shown = delegate.helpEvent(&event, &view, optionFor(view.viewport()), index);
        QTEST(shown ? QToolTip::text() : QString(), "expected");
        QHelpEvent query(QEvent::QueryWhatsThis, pos, view.viewport()->mapToGlobal(pos)); // none
        QVERIFY(!delegate.helpEvent(&query, &view, optionFor(view.viewport()), index));
    }

    // More controls than the strip holds end in a "+N" chip, drawn on the card like the others.
    void overflowChipStaysOnTheCard()
    {
        QStringList entries;
        for (int i = 0; i < 12; ++i)
            entries << QString("Bouton %1|btn://%1").arg(i);
        QImage image = paintedCard({{"videoInterfaces", entries}});
        const ControlChip more = layoutControlChips(cardControlsStrip(kCard), entries).last();
        const int left = more.rect.left(), y = more.rect.center().y();
        for (int x = cardRect(kCard).right() + 1; x < image.width(); ++x)
            QCOMPARE(qAlpha(image.pixel(x, y)), 0);
        // The chip's cyan tint, against the card beside it and the chip before it (28 px apart).
        for (const int elsewhere : {left - 4, left - 26})
            QVERIFY(qBlue(image.pixel(left + 2, y)) > qBlue(image.pixel(elsewhere, y)) + 10);
        // Chips show their kind's icon, not their label: buttons A and Z look alike. Others show
        // their label's first two letters in capitals, untinted.
        entries = QStringList{"Axe|axis://0", "A|btn://1", "Z|btn://2", "zoom|cmd://a", "ZO|b"};
        const QList<ControlChip> chips = layoutControlChips(cardControlsStrip(kCard), entries);
        image = paintedCard({{"videoInterfaces", entries}});
        const QPoint rule = cardControlsStrip(kCard).topRight() - QPoint(2, 5); // faint rule above
        QVERIFY(qRed(image.pixel(rule)) > qRed(image.pixel(rule - QPoint(0, 2))) + 5);
        QVERIFY(image.copy(chips[0].rect) != image.copy(chips[1].rect));
        QCOMPARE(image.copy(chips[1].rect), image.copy(chips[2].rect));
        QCOMPARE(image.copy(chips[3].rect), image.copy(chips[4].rect));
        const auto at = [&](int chip) { return image.pixel(chips[chip].rect.center()); };
        QVERIFY2(qBlue(at(0)) > qRed(at(0)) + 100 && qRed(at(1)) > qBlue(at(1)) + 100,
                 "a cyan axis icon, an orange button icon (at the chip's centre)");
    }

    // The carousel's chevrons point outwards: "<" on the left arrow, ">" on the right one.
    void carouselChevronsPointOutwards()
    {
        const QImage image =
            paintedCard({{"profileCount", 3}, {"hasProfileCarousel", true}}, Qt::black);
        for (const int outward : {-3, 3}) {
            const QPoint c = (outward < 0 ? cardLeftArrowRect : cardRightArrowRect)(kCard).center();
            // The arms start on the inner side, above and below the tip, which is on the outer.
            for (int dy : {-6, 0, 6})
                QVERIFY(qGreen(image.pixel(c.x() - (dy ? outward : -outward), c.y() + dy)) >
                        qGreen(image.pixel(c.x() + (dy ? outward : -outward), c.y() + dy)) + 60);
        }
    }

    // Disconnected, busy and connected each show their own icon in the link badge.
    void linkStatesLookApart()
    {
        QList<QImage> badges;
        for (int state = 0; state <= 2; ++state)
            badges << paintedCard({{"linkState", state}}).copy(cardLinkStateRect(kCard));
        QVERIFY(badges[0] != badges[1] && badges[1] != badges[2] && badges[0] != badges[2]);
        const QRect name = cardTextRows(kCard).first(); // each card shows its own name
        QVERIFY(paintedCard({{"name", "A"}}).copy(name) != paintedCard({{"name", "B"}}).copy(name));
        // The card's own surface, beside its picture: one colour per state, never see-through.
        QSet<QRgb> surfaces;
        for (QVariantMap state : {QVariantMap{{"selected", true}}, {{"isConnected", true}}, {}})
            surfaces << paintedCard(state).pixel(kCard.left() + 40, kCard.top() + 60);
        QVERIFY(surfaces.size() == 3 && std::all_of(surfaces.begin(), surfaces.end(),
                                                    [](QRgb c) { return qAlpha(c) > 0; }));

        // The warning corner shows an icon while the controller is away, and only then.
        for (const bool connected : {false, true}) {
            const QImage corner =
                paintedCard({{"isConnected", connected}}).copy(cardWarningRect(kCard));
            int farthest = 0, first = qGray(corner.pixel(0, 0)); // in grey levels from (0, 0)
            for (int y = 0; y < corner.height(); ++y)
                for (int x = 0; x < corner.width(); ++x)
                    farthest = qMax(farthest, qAbs(qGray(corner.pixel(x, y)) - first));
            QVERIFY2((farthest > 60) != connected, qPrintable(QString::number(farthest)));
        }
    }
};

QTEST_MAIN(TestDeviceItemDelegate)
#include "tst_deviceitemdelegate.moc"
