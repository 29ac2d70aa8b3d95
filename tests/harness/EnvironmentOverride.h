#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

#include <optional>

// Variables of this process set for a while: each keeps the value it had (or its absence),
// and gets it back on restore().
class EnvironmentOverride {
public:
    void set(const QByteArray& name, const QByteArray& value)
    {
        m_saved.append({name,
            qEnvironmentVariableIsSet(name.constData())
                ? std::optional<QByteArray>(qgetenv(name.constData()))
                : std::nullopt});
        qputenv(name.constData(), value);
    }

    void restore()
    {
        for (const auto& [name, value] : std::as_const(m_saved)) {
            if (value)
                qputenv(name.constData(), *value);
            else
                qunsetenv(name.constData());
        }
        m_saved.clear();
    }

private:
    QList<QPair<QByteArray, std::optional<QByteArray>>> m_saved;
};
