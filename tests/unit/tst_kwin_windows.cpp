#include "Platform/KWin/WindowList.h"

#include "TestMain.h"

#include <QJsonArray>
#include <QJsonObject>

using namespace Platform;
using namespace Platform::KWin;

namespace {

// A window as Vantor's KWin scripts describe it.
QJsonObject described(const QString& uuid, int pid, const QString& resourceClass, int stacking,
    bool x11 = false, const QString& type = QStringLiteral("normal"))
{
    return {{QStringLiteral("id"), uuid}, {QStringLiteral("pid"), pid},
        {QStringLiteral("type"), type}, {QStringLiteral("resourceClass"), resourceClass},
        {QStringLiteral("resourceName"), x11 ? resourceClass.toLower() : QString()},
        {QStringLiteral("desktopFile"), QString()}, {QStringLiteral("caption"), QString()},
        {QStringLiteral("x11"), x11}, {QStringLiteral("x"), 10}, {QStringLiteral("y"), 20},
        {QStringLiteral("width"), 300}, {QStringLiteral("height"), 200},
        {QStringLiteral("onScreen"), true}, {QStringLiteral("normalLayer"), true},
        {QStringLiteral("skipTaskbar"), false}, {QStringLiteral("stacking"), stacking}};
}

} // namespace

class KWinWindowsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aWindowIsReadWithItsFrameAndOwner()
    {
        WindowIds ids;
        QJsonObject object = described(QStringLiteral("{a}"), 42, QStringLiteral("XTerm"), 3, true);
        object.insert(QStringLiteral("onScreen"), false);
        const WindowInfo window = windowOfObject(object, ids);
        QCOMPARE(window.pid, 42);
        QCOMPARE(window.frame, (Frame{10, 20, 300, 200}));
        QCOMPARE(window.kind, WindowKind::Normal);
        QCOMPARE(window.wmClass, QStringLiteral("XTerm"));
        QCOMPARE(window.wmClassInstance, QStringLiteral("xterm"));
        QVERIFY(window.applicationId.isEmpty());
        QVERIFY(!window.isOnScreen);
        QVERIFY(window.isNormalLayer);
    }

    void aWaylandWindowsAppIdStandsForItsApplication()
    {
        WindowIds ids;
        const WindowInfo window
            = windowOfObject(described(QStringLiteral("{b}"), 7, QStringLiteral("org.example.App"),
                                 1, false, QStringLiteral("dialog")),
                ids);
        QCOMPARE(window.applicationId, QStringLiteral("org.example.App"));
        QCOMPARE(window.kind, WindowKind::Dialog);
        QCOMPARE(window.typeName, QStringLiteral("dialog"));
    }

    void windowsKeepTheirNumbersAndGetThemInOrderOfAge()
    {
        WindowIds ids;
        const WindowId first = ids.idOf(QStringLiteral("{old}"));
        const WindowId second = ids.idOf(QStringLiteral("{new}"));
        QVERIFY(first < second);
        QCOMPARE(ids.idOf(QStringLiteral("{old}")), first);
        QCOMPARE(ids.uuidOf(second), QStringLiteral("{new}"));
        QVERIFY(ids.uuidOf(999).isEmpty());
    }

    void theListIsFrontToBackByStackingOrder()
    {
        WindowIds ids;
        const QList<WindowInfo> windows
            = windowsOfList({described(QStringLiteral("{low}"), 1, QStringLiteral("a"), 2),
                                described(QStringLiteral("{top}"), 2, QStringLiteral("b"), 9),
                                described(QStringLiteral("{middle}"), 3, QStringLiteral("c"), 5)},
                ids);
        QCOMPARE(windows.size(), 3);
        QCOMPARE(windows[0].pid, 2);
        QCOMPARE(windows[1].pid, 3);
        QCOMPARE(windows[2].pid, 1);
    }

    void withoutStackingOrderTheNewestWindowComesFirst()
    {
        WindowIds ids;
        const QList<WindowInfo> windows
            = windowsOfList({described(QStringLiteral("{1}"), 1, QStringLiteral("a"), -1),
                                described(QStringLiteral("{2}"), 2, QStringLiteral("b"), -1)},
                ids);
        QCOMPARE(windows[0].pid, 2);
        QCOMPARE(windows[1].pid, 1);
    }
};

VANTOR_UNIT_TEST_MAIN(KWinWindowsTest)
#include "tst_kwin_windows.moc"
