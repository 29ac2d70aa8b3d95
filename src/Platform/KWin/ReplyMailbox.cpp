#include "Platform/KWin/ReplyMailbox.h"

#include "Util/Logging.h"

#include <gio/gio.h>

namespace Platform::KWin {
namespace {

const char* const introspection = R"XML(
<node>
  <interface name="org.vantor.KWinScripts">
    <method name="Reply"><arg type="s" direction="in"/><arg type="s" direction="in"/></method>
    <method name="Report"><arg type="s" direction="in"/><arg type="s" direction="in"/></method>
  </interface>
</node>
)XML";

struct MainContextDeleter {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
struct MainLoopDeleter {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};
struct NodeInfoDeleter {
    void operator()(GDBusNodeInfo* info) const { g_dbus_node_info_unref(info); }
};
struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
struct FreeDeleter {
    void operator()(gpointer memory) const { g_free(memory); }
};

void handleCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method,
    GVariant* parameters, GDBusMethodInvocation* invocation, gpointer mailbox)
{
    const gchar* first = nullptr;
    const gchar* second = nullptr;
    g_variant_get(parameters, "(&s&s)", &first, &second);
    static_cast<ReplyMailbox*>(mailbox)->deliver(
        QString::fromUtf8(method), QString::fromUtf8(first), QString::fromUtf8(second));
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

const GDBusInterfaceVTable vtable = {handleCall, nullptr, nullptr, {}};

} // namespace

struct ReplyMailbox::Bus {
    std::unique_ptr<GMainContext, MainContextDeleter> context{g_main_context_new()};
    std::unique_ptr<GMainLoop, MainLoopDeleter> loop{g_main_loop_new(context.get(), FALSE)};
    std::unique_ptr<GDBusNodeInfo, NodeInfoDeleter> node{
        g_dbus_node_info_new_for_xml(introspection, nullptr)};
    std::unique_ptr<GDBusConnection, ObjectDeleter> connection;
};

ReplyMailbox::ReplyMailbox() : m_bus(std::make_unique<Bus>())
{
    std::promise<QString> ready;
    std::future<QString> name = ready.get_future();
    m_thread = std::thread([this, &ready] { serve(ready); });
    m_busName = name.get();
}

ReplyMailbox::~ReplyMailbox()
{
    g_main_loop_quit(m_bus->loop.get());
    m_thread.join();
}

// Runs on the mailbox's thread: the connection answers calls in this thread's main context.
void ReplyMailbox::serve(std::promise<QString>& ready)
{
    g_main_context_push_thread_default(m_bus->context.get());
    GError* error = nullptr;
    const std::unique_ptr<gchar, FreeDeleter> address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (address)
        m_bus->connection.reset(g_dbus_connection_new_for_address_sync(address.get(),
            GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error));
    const guint registration = m_bus->connection
        ? g_dbus_connection_register_object(m_bus->connection.get(), path,
            m_bus->node->interfaces[0], &vtable, this, nullptr, &error)
        : 0;
    if (registration == 0) {
        const std::unique_ptr<GError, ErrorDeleter> failure(error);
        qCWarning(lcWindows) << "Vantor cannot take KWin's answers on the session bus:"
                             << (failure ? failure->message : "");
        g_main_context_pop_thread_default(m_bus->context.get());
        ready.set_value({});
        return;
    }
    ready.set_value(QString::fromUtf8(g_dbus_connection_get_unique_name(m_bus->connection.get())));
    g_main_loop_run(m_bus->loop.get());
    g_dbus_connection_unregister_object(m_bus->connection.get(), registration);
    g_dbus_connection_close_sync(m_bus->connection.get(), nullptr, nullptr);
    m_bus->connection.reset();
    g_main_context_pop_thread_default(m_bus->context.get());
}

std::optional<QString> ReplyMailbox::take(const QString& token, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    if (!m_arrived.wait_for(lock, timeout, [&] { return m_replies.contains(token); }))
        return std::nullopt;
    return m_replies.take(token);
}

void ReplyMailbox::deliver(const QString& method, const QString& first, const QString& second)
{
    if (method == QLatin1String("Report")) {
        QMetaObject::invokeMethod(
            this, [this, first, second] { Q_EMIT reported(first, second); }, Qt::QueuedConnection);
        return;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_replies.insert(first, second);
    }
    m_arrived.notify_all();
}

} // namespace Platform::KWin
