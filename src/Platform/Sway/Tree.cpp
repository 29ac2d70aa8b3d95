#include "Platform/Sway/Tree.h"

#include <QHash>

namespace Platform::Sway {
namespace {

const QLatin1String scratchpadWorkspace("__i3_scratch");

QJsonObject child(const QJsonObject& node, const char* key)
{
    return node.value(QLatin1String(key)).toObject();
}

double number(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toDouble();
}

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

bool isWindow(const QJsonObject& node)
{
    const QString type = text(node, "type");
    return (type == QLatin1String("con") || type == QLatin1String("floating_con"))
        && node.value(QLatin1String("pid")).toInt() > 0
        && node.value(QLatin1String("nodes")).toArray().isEmpty();
}

// The rect leaves out the title bar, which sway reports on its own; a window's frame is both,
// so that placing a window on the frame it was read with leaves it where it was.
Frame outerFrame(const QJsonObject& node)
{
    const QJsonObject rect = child(node, "rect");
    const double titleHeight = number(child(node, "deco_rect"), "height");
    return {number(rect, "x"), number(rect, "y") - titleHeight, number(rect, "width"),
        number(rect, "height") + titleHeight};
}

WindowKind kindOf(const QString& typeName)
{
    if (typeName == QLatin1String("normal"))
        return WindowKind::Normal;
    if (typeName == QLatin1String("dialog"))
        return WindowKind::Dialog;
    return WindowKind::Other;
}

// The children of a node in focus order, most recently focused first; children that the
// focus list does not name (sway lists every one) keep their tree order at the end.
QList<QJsonObject> childrenByFocus(const QJsonObject& node)
{
    QHash<qint64, QJsonObject> byId;
    QList<qint64> treeOrder;
    for (const char* key : {"nodes", "floating_nodes"}) {
        for (const QJsonValue& value : node.value(QLatin1String(key)).toArray()) {
            const QJsonObject object = value.toObject();
            const qint64 id = object.value(QLatin1String("id")).toInteger();
            byId.insert(id, object);
            treeOrder.append(id);
        }
    }
    QList<QJsonObject> ordered;
    for (const QJsonValue& id : node.value(QLatin1String("focus")).toArray()) {
        if (const auto found = byId.constFind(id.toInteger()); found != byId.constEnd()) {
            ordered.append(*found);
            treeOrder.removeOne(id.toInteger());
        }
    }
    for (qint64 id : std::as_const(treeOrder))
        ordered.append(byId.value(id));
    return ordered;
}

void collect(const QJsonObject& node, bool inScratchpad, QList<WindowInfo>& windows)
{
    if (auto window = windowOfNode(node)) {
        if (inScratchpad) {
            window->isOnScreen = false;
            window->isNormalLayer = false;
        }
        windows.append(*window);
        return;
    }
    const bool scratchpad = inScratchpad
        || (text(node, "type") == QLatin1String("workspace")
            && text(node, "name") == scratchpadWorkspace);
    for (const QJsonObject& next : childrenByFocus(node))
        collect(next, scratchpad, windows);
}

} // namespace

std::optional<WindowInfo> windowOfNode(const QJsonObject& node)
{
    if (!isWindow(node))
        return std::nullopt;
    WindowInfo window;
    window.id = WindowId(node.value(QLatin1String("id")).toInteger());
    window.pid = node.value(QLatin1String("pid")).toInt();
    const QJsonObject properties = child(node, "window_properties");
    // X11 windows (XWayland) say what they are; Wayland windows are all application windows.
    window.typeName
        = properties.isEmpty() ? QStringLiteral("normal") : text(properties, "window_type");
    if (window.typeName.isEmpty())
        window.typeName = QStringLiteral("normal");
    window.kind = kindOf(window.typeName);
    window.isNormalLayer = true;
    window.isOnScreen = node.value(QLatin1String("visible")).toBool();
    window.frame = outerFrame(node);
    const QString appId = text(node, "app_id");
    if (!appId.isEmpty()) {
        // A Wayland app's id names its desktop entry, and plays the part of the X11 class.
        window.applicationId = appId;
        window.wmClass = appId;
        window.wmClassInstance = appId;
    } else {
        window.wmClass = text(properties, "class");
        window.wmClassInstance = text(properties, "instance");
    }
    return window;
}

QList<WindowInfo> windowsInTree(const QJsonObject& root)
{
    QList<WindowInfo> windows;
    collect(root, false, windows);
    return windows;
}

ScreenSize screenSizeOfOutputs(const QJsonArray& outputs)
{
    std::optional<QJsonObject> chosen;
    for (const QJsonValue& value : outputs) {
        const QJsonObject output = value.toObject();
        if (!output.value(QLatin1String("active")).toBool())
            continue;
        if (!chosen || output.value(QLatin1String("focused")).toBool())
            chosen = output;
        if (output.value(QLatin1String("focused")).toBool())
            break;
    }
    if (!chosen)
        return {};
    // An output's rect is in layout pixels: its mode divided by its scale.
    const QJsonObject rect = child(*chosen, "rect");
    return {number(rect, "width"), number(rect, "height")};
}

} // namespace Platform::Sway
