#include "Tabs/Components/AppObject.h"

AppObject::AppObject(AppInfoPtr app, QObject* parent) : QObject(parent), m_app(std::move(app))
{
}

QString AppObject::id() const
{
    return m_app->id().toString(QUuid::WithoutBraces);
}
