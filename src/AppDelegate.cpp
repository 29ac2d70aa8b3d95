#include "AppDelegate.h"

#include "Tabs/Settings/SettingsViewModel.h"

#include "Shell/MainWindow.h"
#include "Shell/StoreFailure.h"
#include "Store/ModelContainer.h"
#include "Util/Console.h"
#include "Util/DefaultKeyboardShortcuts.h"
#include "Util/Services.h"

#include <KeyboardShortcuts/KeyboardShortcuts.h>

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

namespace {

constexpr int kMaximumBoundWorkspaces = 8;

// Command, Option, Control and Shift of a stored shortcut; Caps Lock, Function and the
// numeric pad are dropped.
Qt::KeyboardModifiers menuModifiers(const KeyboardShortcuts::Shortcut& shortcut)
{
    using KeyboardShortcuts::ModifierFlag;
    const auto kept = shortcut.modifiers()
        & (ModifierFlag::command | ModifierFlag::option | ModifierFlag::control
            | ModifierFlag::shift);
    return KeyboardShortcuts::toQtModifiers(kept);
}

QKeySequence menuKeySequence(const KeyboardShortcuts::Shortcut& shortcut)
{
    const QString key = keyEquivalentString(shortcut.key());
    if (key.isEmpty())
        return {};
    const QKeySequence base(key);
    if (base.isEmpty())
        return {};
    return QKeySequence(QKeyCombination(menuModifiers(shortcut), base[0].key()));
}

} // namespace

AppDelegate::AppDelegate(Services& services, MainWindow& mainWindow, QObject* parent)
    : QObject(parent), m_services(services), m_mainWindow(mainWindow)
{
}

AppDelegate::~AppDelegate()
{
    KeyboardShortcuts::NotificationCenter::defaultCenter().removeObserver(m_shortcutsObserver);
}

QString AppDelegate::didUpdateShortcuts()
{
    return SettingsViewModel::didUpdateShortcuts();
}

void AppDelegate::applicationDidFinishLaunching()
{
    m_modelContainer = &sharedModelContainer();
    QString error;
    m_modelContext = m_modelContainer->makeContext(&error);
    if (!m_modelContext) {
        StoreFailure::report(error);
        QCoreApplication::exit(1);
        return;
    }

    m_statusItem = std::make_unique<QSystemTrayIcon>(QIcon(QStringLiteral(":/icons/logo-bw.svg")));
    m_statusItem->setToolTip(QStringLiteral("Vantor"));
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this,
        [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger)
                statusBarButtonClicked();
        });
    m_statusItem->show();

    setupMenus();
    openSettings();
    registerShortcutsFromWorkspaces();
    m_shortcutsObserver = KeyboardShortcuts::NotificationCenter::defaultCenter().addObserver(
        didUpdateShortcuts(), [this](const KeyboardShortcuts::Notification&) { reloadMenus(); },
        this);
}

void AppDelegate::setupMenus()
{
    if (!m_modelContext || !m_statusItem)
        qFatal("The tray menu needs the store context and the tray icon");

    auto menu = std::make_unique<QMenu>();
    QAction* header = menu->addAction(QStringLiteral("Open Workspace"));
    header->setEnabled(false);
    QFont small = header->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    header->setFont(small);

    const auto fetched = m_modelContext->fetchWorkspaces();
    for (const WorkspacePtr& workspace : fetched.value)
        addWorkspaceItem(*menu, *workspace);

    menu->addSeparator();
    QAction* settings = menu->addAction(QStringLiteral("Settings..."));
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setShortcutContext(Qt::WidgetShortcut);
    connect(settings, &QAction::triggered, this, &AppDelegate::openSettings);
    menu->addSeparator();
    QAction* quit = menu->addAction(QStringLiteral("Quit"));
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setShortcutContext(Qt::WidgetShortcut);
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    m_statusItem->setContextMenu(menu.get());
    // The previous menu may be the one whose item led here: let it finish first.
    if (m_menu)
        m_menu.release()->deleteLater();
    m_menu = std::move(menu);
}

void AppDelegate::addWorkspaceItem(QMenu& menu, const Workspace& workspace)
{
    const auto shortcut = KeyboardShortcuts::getShortcut(workspaceShortcutName(workspace.id()));
    if (!shortcut)
        return;
    QAction* item = menu.addAction(workspace.name());
    item->setData(workspace.id());
    // A hint beside the title that works while the menu is open; the global hotkey is
    // separate.
    item->setShortcut(menuKeySequence(*shortcut));
    item->setShortcutContext(Qt::WidgetShortcut);
    connect(item, &QAction::triggered, this, [this, item] { activateWorkspaceFromMenu(item); });
}

void AppDelegate::reloadMenus()
{
    setupMenus();
}

void AppDelegate::openSettings()
{
    m_mainWindow.showAndActivate();
}

void AppDelegate::activateWorkspaceFromMenu(QAction* item)
{
    const QVariant represented = item->data();
    if (represented.metaType() != QMetaType::fromType<QUuid>())
        return;
    activateWorkspace(represented.toUuid());
}

void AppDelegate::statusBarButtonClicked()
{
    Console::print(QStringLiteral("Menu item clicked"));
    // A click on the icon opens the menu, as it does where the icon carries a menu.
    if (m_menu && !m_menu->isVisible())
        m_menu->popup(QCursor::pos());
}

void AppDelegate::activateWorkspace(const QUuid& id)
{
    if (!m_modelContext)
        qFatal("Activating a workspace needs the store context");
    const auto fetched = m_modelContext->fetchWorkspace(id);
    if (!fetched.ok() || !fetched.value)
        return;
    m_services.windowManager().openApps(fetched.value->apps());
}

void AppDelegate::registerShortcutsFromWorkspaces()
{
    if (!m_modelContext)
        qFatal("Binding the workspace shortcuts needs the store context");
    const auto fetched = m_modelContext->fetchWorkspaces();
    if (!fetched.ok()) {
        Console::print(QStringLiteral("⚠️ Failed to load workspaces for shortcuts"));
        return;
    }
    DefaultKeyboardShortcuts::setDefaultShortcuts(fetched.value, false);
    const auto bound = fetched.value.mid(0, kMaximumBoundWorkspaces);
    for (qsizetype slot = 0; slot < bound.size(); ++slot) {
        const WorkspacePtr& workspace = bound.at(slot);
        const QUuid id = workspace->id();
        const KeyboardShortcuts::Name name = workspaceShortcutName(id);
        KeyboardShortcuts::onKeyUp(name, [this, id] { activateWorkspace(id); });
        // A stored shortcut whose hot key the system refused is not announced: the shortcut
        // library has said why it was not taken.
        if (KeyboardShortcuts::getShortcut(name) && !KeyboardShortcuts::isHotKeyRegistered(name))
            continue;
        Console::print(QStringLiteral("✅ Registered shortcut for ") + workspace->name()
            + QStringLiteral(" at slot ") + QString::number(slot));
    }
}
