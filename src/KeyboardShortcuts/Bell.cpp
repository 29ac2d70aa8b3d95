#include "KeyboardShortcuts/Bell.h"

#include "KeyboardShortcuts/XConnection.h"

#include <QApplication>

#include <xcb/xcb.h>

namespace KeyboardShortcuts::Bell {

void ring()
{
    XConnection* connection = XConnection::shared();
    if (!connection) {
        QApplication::beep();
        return;
    }
    xcb_bell(connection->get(), 0);
    connection->flush();
}

} // namespace KeyboardShortcuts::Bell
