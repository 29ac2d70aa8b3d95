// The shared pieces of the screens on a real window: MainButton, CardContainer, the
// symbols, the named colours and the type scale.
#include "Shell/QmlEngine.h"
#include "Tabs/Components/AppIcon.h"
#include "UIComponents/VectorImage.h"
#include "UIComponents/Theme.h"
#include "UIComponents/Typography.h"

#include "TestMain.h"

#include <QAccessible>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <memory>

namespace {

using Scheme = Platform::ColorScheme::Scheme;

const char* const kButtons = R"(
import QtQuick
import QtQuick.Layouts
import Vantor

Window {
    width: 400
    height: 300
    visible: true
    property int presses: 0

    ColumnLayout {
        width: parent.width
        spacing: 10

        MainButton {
            objectName: "primary"
            title: "Add workspace"
            iconLeft: "plus"
            onAction: presses++
        }
        MainButton {
            objectName: "secondary"
            title: "Add workspace"
            type: MainButtonType.Secondary
            iconLeft: "plus"
        }
        MainButton {
            objectName: "destructive"
            title: "Delete workspace"
            type: MainButtonType.Destructive
            size: MainButtonSize.Small
        }
        CardContainer {
            objectName: "card"
            Text { text: "Apps"; width: parent.width; height: 40 }
        }
    }
}
)";

double relativeLuminance(const QColor& color)
{
    auto channel = [](double value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(color.redF()) + 0.7152 * channel(color.greenF())
        + 0.0722 * channel(color.blueF());
}

double contrast(const QColor& a, const QColor& b)
{
    const double la = relativeLuminance(a), lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QJsonObject colorTable()
{
    QFile file(QStringLiteral(":/theme/colors.json"));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

} // namespace

class UiComponentsTest final : public QObject {
    Q_OBJECT

    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QObject> m_root;
    QQuickWindow* m_window = nullptr;

    QQuickItem* item(const char* name) const
    {
        return m_root->findChild<QQuickItem*>(QString::fromLatin1(name));
    }
    static QQuickItem* part(QQuickItem* button, const char* name)
    {
        return button->findChild<QQuickItem*>(QString::fromLatin1(name));
    }
    Theme* theme() const { return m_engine->singletonInstance<Theme*>(qmlTypeId("Vantor", 1, 0, "Theme")); }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("VANTOR_COLOR_SCHEME", "light");
        m_engine = std::make_unique<QQmlEngine>();
        prepareQmlEngine(*m_engine);
        QQmlComponent component(m_engine.get());
        component.setData(kButtons, QUrl());
        m_root.reset(component.create());
        QVERIFY2(m_root, qPrintable(component.errorString()));
        m_window = qobject_cast<QQuickWindow*>(m_root.get());
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
    }

    void cleanupTestCase()
    {
        m_root.reset();
        m_engine.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void init() { failOnUnexpectedWarnings(); }

    void onlyPrimaryIsFilledAndSemibold()
    {
        QQuickItem* primary = item("primary");
        QQuickItem* secondary = item("secondary");
        QQuickItem* destructive = item("destructive");
        QCOMPARE(primary->property("color").value<QColor>(), theme()->primaryButton());
        QCOMPARE(part(primary, "label")->property("font").value<QFont>().weight(), QFont::DemiBold);
        QCOMPARE(part(primary, "label")->property("color").value<QColor>(), theme()->primaryButtonText());

        QCOMPARE(secondary->property("color").value<QColor>().alpha(), 0);
        QCOMPARE(part(secondary, "label")->property("font").value<QFont>().weight(), QFont::Normal);
        QCOMPARE(part(secondary, "label")->property("color").value<QColor>(), theme()->primaryButtonText());

        QCOMPARE(destructive->property("color").value<QColor>().alpha(), 0);
        QCOMPARE(part(destructive, "label")->property("font").value<QFont>().weight(), QFont::Normal);
        QCOMPARE(part(destructive, "label")->property("color").value<QColor>(), theme()->red());
    }

    void paddingAndRadiusFollowTheSize()
    {
        QQuickItem* medium = item("secondary");
        QQuickItem* small = item("destructive");
        QCOMPARE(medium->property("radius").toReal(), 8.0);
        QCOMPARE(small->property("radius").toReal(), 4.0);
        QQuickItem* mediumRow = part(medium, "label")->parentItem();
        QCOMPARE(medium->width() - std::ceil(mediumRow->width()), 32.0);
        QCOMPARE(medium->height() - std::ceil(mediumRow->height()), 16.0);
        QQuickItem* smallRow = part(small, "label")->parentItem();
        QCOMPARE(small->width() - std::ceil(smallRow->width()), 16.0);
        QCOMPARE(small->height() - std::ceil(smallRow->height()), 8.0);
    }

    void aButtonWithoutIconShowsItsTitleAloneWithTheSamePadding()
    {
        QQuickItem* small = item("destructive");
        QVERIFY(!part(small, "icon")->isVisible());
        QCOMPARE(small->width(), std::ceil(part(small, "label")->width()) + 16);
        QQuickItem* withIcon = item("secondary");
        QVERIFY(part(withIcon, "icon")->isVisible());
        QCOMPARE(part(withIcon, "icon")->property("color").value<QColor>(),
            theme()->primaryButtonText());
    }

    void theWholePaddedRectangleTakesTheClick()
    {
        QQuickItem* primary = item("primary");
        const int before = m_root->property("presses").toInt();
        const QPointF corner = primary->mapToScene(QPointF(2, 2));
        QTest::mouseClick(m_window, Qt::LeftButton, {}, corner.toPoint());
        QTRY_COMPARE(m_root->property("presses").toInt(), before + 1);
    }

    void thePointerIsAHandOverAButtonAndAnArrowElsewhere()
    {
        QQuickItem* primary = item("primary");
        const QPoint inside = primary->mapToScene(QPointF(primary->width() / 2, 4)).toPoint();
        QTest::mouseMove(m_window, inside);
        QTRY_COMPARE(m_window->cursor().shape(), Qt::PointingHandCursor);
        QVERIFY(primary->property("isHover").toBool());
        QTest::mouseMove(m_window, QPoint(390, 290));
        QTRY_COMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
        QVERIFY(!primary->property("isHover").toBool());
    }

    void noHandIsLeftBehindWhenTheButtonGoesAwayUnderThePointer()
    {
        QQuickItem* secondary = item("secondary");
        const QPoint inside = secondary->mapToScene(QPointF(secondary->width() / 2, 4)).toPoint();
        QTest::mouseMove(m_window, inside);
        QTRY_COMPARE(m_window->cursor().shape(), Qt::PointingHandCursor);
        secondary->setVisible(false);
        QTRY_COMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
        secondary->setVisible(true);
        QTest::mouseMove(m_window, QPoint(390, 290));
    }

    void buttonsStayOutOfTheFocusChainButArePressableByScreenReaders()
    {
        QQuickItem* primary = item("primary");
        QVERIFY(!primary->activeFocusOnTab());
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(primary);
        QVERIFY(accessible);
        QCOMPARE(accessible->role(), QAccessible::Button);
        QCOMPARE(accessible->text(QAccessible::Name), QStringLiteral("Add workspace"));
        const int before = m_root->property("presses").toInt();
        accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(m_root->property("presses").toInt(), before + 1);
    }

    void aCardSpansTheWidthWithAFaintFillAndAThinOutline()
    {
        QQuickItem* card = item("card");
        QCOMPARE(card->width(), m_window->width());
        QCOMPARE(card->height(), 40.0);
        QCOMPARE(card->property("radius").toReal(), 4.0);
        const QColor fill = card->property("color").value<QColor>();
        QCOMPARE(qRound(fill.alphaF() * 100), 5);
        QCOMPARE(QColor(fill.red(), fill.green(), fill.blue()), theme()->gray());
        QObject* border = card->property("border").value<QObject*>();
        QCOMPARE(border->property("width").toReal(), 0.5);
        QCOMPARE(border->property("color").value<QColor>(), QColor::fromRgbF(1, 1, 1, 0.2));
    }

    void symbolsAreDrawnInTheCallersColour()
    {
        VectorImage symbol;
        symbol.setSource(QStringLiteral(":/symbols/gearshape.svg"));
        symbol.setColor(Qt::red);
        const QImage image = symbol.render(QSize(24, 24));
        QCOMPARE(image.size(), QSize(24, 24));
        int covered = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() == 0)
                    continue;
                ++covered;
                QCOMPARE(QColor(pixel.red(), pixel.green(), pixel.blue()), QColor(Qt::red));
            }
        }
        QVERIFY(covered > 24);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("No image at .*")));
        symbol.setSource(QStringLiteral(":/symbols/no.such.symbol.svg"));
        QVERIFY(symbol.render(QSize(24, 24)).isNull());
    }

    void illustrationsKeepTheirColoursAndProportions()
    {
        VectorImage illustration;
        illustration.setSource(QStringLiteral(":/illustrations/dashboardOrganized-light.svg"));
        // 300 by 200 drawn into a square: centred, with empty bands above and below.
        const QImage image = illustration.render(QSize(300, 300));
        QCOMPARE(image.pixelColor(150, 10).alpha(), 0);
        QCOMPARE(image.pixelColor(150, 290).alpha(), 0);
        QSet<QRgb> colours;
        for (int x = 0; x < 300; x += 3)
            colours.insert(image.pixel(x, 150));
        QVERIFY(colours.size() > 2);
    }

    void anAppWhoseEntryIsGoneShowsTheGenericIcon()
    {
        AppIcon icon;
        icon.setSize(QSizeF(24, 24));
        icon.setPath(QStringLiteral("/usr/share/applications/uninstalled.example.desktop"));
        QImage image(24, 24, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        icon.paint(&painter);
        painter.end();
        int covered = 0;
        for (int y = 0; y < 24; ++y) {
            for (int x = 0; x < 24; ++x)
                covered += image.pixelColor(x, y).alpha() > 0 ? 1 : 0;
        }
        QVERIFY(covered > 24);
    }

    void everyColourHasItsLightAndDarkValue()
    {
        const QJsonObject table = colorTable();
        const QStringList required{QStringLiteral("background"), QStringLiteral("backgroundTopBar"),
            QStringLiteral("border"), QStringLiteral("hover"), QStringLiteral("primaryButton"),
            QStringLiteral("primaryButtonText")};
        Theme standalone;
        for (const QString& name : required) {
            QVERIFY2(table.contains(name), qPrintable(name));
            const QJsonObject pair = table.value(name).toObject();
            QCOMPARE(standalone.color(name, Scheme::light),
                QColor::fromString(pair.value(QLatin1String("light")).toString()));
            QCOMPARE(standalone.color(name, Scheme::dark),
                QColor::fromString(pair.value(QLatin1String("dark")).toString()));
            QVERIFY(standalone.color(name, Scheme::light) != standalone.color(name, Scheme::dark));
        }
    }

    void theSchemeIsForcedByTheEnvironment()
    {
        qputenv("VANTOR_COLOR_SCHEME", "dark");
        Theme dark;
        QVERIFY(dark.isDark());
        QCOMPARE(dark.background(), dark.color(QStringLiteral("background"), Scheme::dark));
        qputenv("VANTOR_COLOR_SCHEME", "light");
        Theme light;
        QVERIFY(!light.isDark());
        QCOMPARE(light.background(), light.color(QStringLiteral("background"), Scheme::light));
    }

    void textStaysReadableOnItsBackgrounds_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("background");
        const QStringList backgrounds{QStringLiteral("background"),
            QStringLiteral("backgroundTopBar"), QStringLiteral("hover")};
        for (const char* text : {"text", "secondaryText", "primaryButtonText", "red"}) {
            for (const QString& background : backgrounds)
                QTest::addRow("%s on %s", text, qPrintable(background)) << QString::fromLatin1(text) << background;
        }
        QTest::addRow("primaryButtonText on primaryButton")
            << QStringLiteral("primaryButtonText") << QStringLiteral("primaryButton");
    }

    void textStaysReadableOnItsBackgrounds()
    {
        QFETCH(QString, text);
        QFETCH(QString, background);
        Theme theme;
        for (const Scheme scheme : {Scheme::light, Scheme::dark}) {
            const double ratio = contrast(theme.color(text, scheme), theme.color(background, scheme));
            QVERIFY2(ratio >= 4.5,
                qPrintable(QStringLiteral("%1 in the %2 scheme: %3:1")
                        .arg(QTest::currentDataTag(), scheme == Scheme::dark ? "dark" : "light")
                        .arg(ratio, 0, 'f', 2)));
        }
    }

    void theTypeScaleFollowsTheDesktopFont()
    {
        const QFont before = QGuiApplication::font();
        Typography type;
        QSignalSpy changed(&type, &Typography::changed);
        QFont font(QStringLiteral("DejaVu Serif"));
        font.setPointSizeF(14);
        QGuiApplication::setFont(font);
        QVERIFY(changed.count() >= 1);
        QCOMPARE(type.body().family(), QStringLiteral("DejaVu Serif"));
        QCOMPARE(type.body().pointSizeF(), 14.0);
        QVERIFY(type.title().pointSizeF() > type.title3().pointSizeF());
        QVERIFY(type.title3().pointSizeF() > type.body().pointSizeF());
        QVERIFY(type.footnote().pointSizeF() < type.body().pointSizeF());
        QVERIFY(type.caption().pointSizeF() < type.body().pointSizeF());
        QCOMPARE(type.headline().weight(), QFont::Bold);
        QCOMPARE(type.headline().pointSizeF(), 14.0);
        QGuiApplication::setFont(before);
    }
};

VANTOR_DESKTOP_TEST_MAIN(UiComponentsTest)
#include "tst_ui_components.moc"
