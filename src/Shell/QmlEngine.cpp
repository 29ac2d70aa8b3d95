#include "Shell/QmlEngine.h"

#include <QQmlEngine>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(VantorQmlPlugin)
Q_IMPORT_QML_PLUGIN(KeyboardShortcutsPlugin)

void prepareQmlEngine(QQmlEngine& engine)
{
    // A small utility's screens need no GPU, and software rendering keeps it light. It can
    // be chosen only before the first scene exists.
    static const bool softwareChosen = [] {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        return true;
    }();
    Q_UNUSED(softwareChosen)
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
}
