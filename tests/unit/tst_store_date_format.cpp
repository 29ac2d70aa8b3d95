#include "Util/DateUtil.h"

#include "TestMain.h"

#include <QScopeGuard>
#include <QTimeZone>

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC);
}

} // namespace

// The one format in which a workspace's updatedAt is shown.
class StoreDateFormatTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { failOnUnexpectedWarnings(); }

    void theWorkspaceFormatterIsMadeOnce()
    {
        QCOMPARE(&DateUtils::workspaceFormatter(), &DateUtils::workspaceFormatter());
        QCOMPARE(DateUtils::workspaceFormatter().pattern(), QStringLiteral("d MMM yyyy, HH:mm"));
    }

    void formatsDayMonthYearAndTwentyFourHourTime_data()
    {
        QTest::addColumn<QDateTime>("moment");
        QTest::addColumn<QString>("text");
        QTest::newRow("single-digit day")
            << utc(2024, 3, 5, 9, 7) << QStringLiteral("5 Mar 2024, 09:07");
        QTest::newRow("afternoon")
            << utc(2023, 12, 25, 23, 59) << QStringLiteral("25 Dec 2023, 23:59");
        QTest::newRow("midnight") << utc(2025, 1, 1, 0, 0) << QStringLiteral("1 Jan 2025, 00:00");
        QTest::newRow("seconds dropped")
            << utc(2024, 2, 29, 12, 30).addSecs(59) << QStringLiteral("29 Feb 2024, 12:30");
    }

    void formatsDayMonthYearAndTwentyFourHourTime()
    {
        QFETCH(QDateTime, moment);
        QFETCH(QString, text);
        // The test environment's locale is C and its time zone UTC.
        QCOMPARE(DateUtils::workspaceFormatter().string(moment), text);
    }

    void showsTheMomentInTheUsersTimeZone()
    {
        const QByteArray previous = qgetenv("TZ");
        const auto restore = qScopeGuard([&] { qputenv("TZ", previous); });
        qputenv("TZ", "IST-5:30");
        QCOMPARE(DateUtils::workspaceFormatter().string(utc(2024, 3, 5, 21, 0)),
            QStringLiteral("6 Mar 2024, 02:30"));
        const QDateTime elsewhere(QDate(2024, 3, 5), QTime(9, 7), QTimeZone(-3600 * 8));
        QCOMPARE(
            DateUtils::workspaceFormatter().string(elsewhere), QStringLiteral("5 Mar 2024, 22:37"));
    }

    void usesTheLocalesMonthNames()
    {
        const DateUtils::DateFormatter german(
            DateUtils::workspaceFormatter().pattern(), QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(german.string(utc(2024, 3, 5, 9, 7)), QStringLiteral("5 März 2024, 09:07"));
        const DateUtils::DateFormatter russian(
            DateUtils::workspaceFormatter().pattern(), QLocale(QLocale::Russian, QLocale::Russia));
        QVERIFY(russian.string(utc(2024, 3, 5, 9, 7)).contains(QStringLiteral("мар")));
    }

    void anInvalidMomentGivesAnEmptyText()
    {
        QCOMPARE(DateUtils::workspaceFormatter().string(QDateTime()), QString());
    }
};

VANTOR_UNIT_TEST_MAIN(StoreDateFormatTest)
#include "tst_store_date_format.moc"
