// Choosing an application for a workspace by hand: the installed applications the desktop
// shows in its menus, the chooser window filtered as the user types, and browsing for an
// entry file elsewhere.
#include "Platform/InstalledAppChooser.h"

#include "TestMain.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardPaths>

namespace {

QString writeEntry(const QString& fileName, const QByteArray& contents)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation);
    QDir().mkpath(folder);
    const QString path = QDir(folder).filePath(fileName);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("Cannot write %s", qPrintable(path));
    return path;
}

QByteArray entry(const QByteArray& name, const QByteArray& extra = {})
{
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=true\n" + extra;
}

Platform::InstalledApplication application(const QString& name)
{
    return {name, {QStringLiteral("application-x-executable")},
        QStringLiteral("/usr/share/applications/") + name + QStringLiteral(".desktop")};
}

} // namespace

class AppChooserTest final : public QObject {
    Q_OBJECT

    std::optional<QString> m_browsed;

    std::unique_ptr<Platform::AppChooserDialog> openDialog()
    {
        auto dialog = std::make_unique<Platform::AppChooserDialog>(
            QList<Platform::InstalledApplication>{application(QStringLiteral("Calculator")),
                application(QStringLiteral("Mail")), application(QStringLiteral("Maps"))},
            [this] { return m_browsed; });
        dialog->show();
        if (!QTest::qWaitForWindowActive(dialog.get()))
            qFatal("The chooser did not become active");
        return dialog;
    }

    static QPushButton* button(const QDialog& dialog, const QString& text)
    {
        for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    static int shownRows(const QDialog& dialog)
    {
        return dialog.findChild<QListView*>(QStringLiteral("applications"))->model()->rowCount();
    }

private Q_SLOTS:
    void init()
    {
        failOnUnexpectedWarnings();
        m_browsed.reset();
    }

    void installedApplicationsAreTheShownEntriesByName()
    {
        const QString zulu = writeEntry(QStringLiteral("vantor-zulu.desktop"), entry("zulu tool"));
        const QString alpha = writeEntry(QStringLiteral("vantor-alpha.desktop"),
            entry("Alpha Editor", "Icon=accessories-text-editor\n"));
        const QString hidden = writeEntry(
            QStringLiteral("vantor-hidden.desktop"), entry("Hidden Helper", "NoDisplay=true\n"));

        const QList<Platform::InstalledApplication> installed = Platform::installedApplications();
        QStringList paths;
        for (const Platform::InstalledApplication& app : installed)
            paths.append(app.path);
        QVERIFY(paths.contains(alpha));
        QVERIFY(paths.contains(zulu));
        QVERIFY(!paths.contains(hidden));
        QVERIFY(paths.indexOf(alpha) < paths.indexOf(zulu));
        const auto& alphaApp = installed.at(paths.indexOf(alpha));
        QCOMPARE(alphaApp.name, QStringLiteral("Alpha Editor"));
        QCOMPARE(alphaApp.icon.value(0), QStringLiteral("accessories-text-editor"));
    }

    void typingFiltersAndReturnTakesTheFirstMatch()
    {
        auto dialog = openDialog();
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Select an Application"));
        QCOMPARE(shownRows(*dialog), 3);
        QSignalSpy accepted(dialog.get(), &QDialog::accepted);

        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("search")), QStringLiteral("MA"));
        QCOMPARE(shownRows(*dialog), 2);
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("search")), QStringLiteral("p"));
        QCOMPARE(shownRows(*dialog), 1);
        QTest::keyClick(dialog->findChild<QLineEdit*>(QStringLiteral("search")), Qt::Key_Return);
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(dialog->chosenPath(), QStringLiteral("/usr/share/applications/Maps.desktop"));
    }

    void withoutAMatchContinueIsOff()
    {
        auto dialog = openDialog();
        QTest::keyClicks(dialog->findChild<QLineEdit*>(QStringLiteral("search")), QStringLiteral("xyz"));
        QCOMPARE(shownRows(*dialog), 0);
        QVERIFY(!button(*dialog, QStringLiteral("Continue"))->isEnabled());
    }

    void aClickedRowAndContinueChooseIt()
    {
        auto dialog = openDialog();
        auto* list = dialog->findChild<QListView*>(QStringLiteral("applications"));
        const QRect mail = list->visualRect(list->model()->index(1, 0));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, mail.center());
        QTest::mouseClick(button(*dialog, QStringLiteral("Continue")), Qt::LeftButton);
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
        QCOMPARE(dialog->chosenPath(), QStringLiteral("/usr/share/applications/Mail.desktop"));
    }

    void cancelChoosesNothing()
    {
        auto dialog = openDialog();
        QSignalSpy rejected(dialog.get(), &QDialog::rejected);
        QTest::mouseClick(button(*dialog, QStringLiteral("Cancel")), Qt::LeftButton);
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(dialog->chosenPath(), QString());
    }

    void browsingToABrokenEntryIsRefusedWithTheReason()
    {
        m_browsed = writeEntry(QStringLiteral("broken.desktop"), "this is no desktop entry\n");
        auto dialog = openDialog();
        QSignalSpy accepted(dialog.get(), &QDialog::accepted);
        QTest::mouseClick(button(*dialog, QStringLiteral("Browse…")), Qt::LeftButton);
        QCOMPARE(accepted.count(), 0);
        QVERIFY(dialog->isVisible());
        auto* reason = dialog->findChild<QLabel*>(QStringLiteral("browseError"));
        QVERIFY(reason->isVisible());
        QCOMPARE(reason->text(),
            QStringLiteral("“broken.desktop” cannot be added: it is not a readable application entry."));

        m_browsed = writeEntry(QStringLiteral("elsewhere.desktop"), entry("Elsewhere"));
        QTest::mouseClick(button(*dialog, QStringLiteral("Browse…")), Qt::LeftButton);
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(dialog->chosenPath(), *m_browsed);
    }
};

VANTOR_DESKTOP_TEST_MAIN(AppChooserTest)
#include "tst_app_chooser.moc"
