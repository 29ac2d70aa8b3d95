#pragma once

#include <QList>
#include <QMap>
#include <QMetaProperty>
#include <QObject>
#include <QSignalSpy>
#include <QStringList>

#include <memory>

// Spies on the NOTIFY signal of every property of an object, so a test states which
// properties announced a change, and how often, in one comparison:
//
//   NotifySpies spies(model);
//   model.nextStep();
//   QCOMPARE(spies.counts(), (NotifySpies::Counts{{"currentStep", 1}}));
//
// Properties that share a signal are reported under each of their names.
class NotifySpies {
public:
    using Counts = QMap<QString, int>;

    explicit NotifySpies(const QObject& object)
    {
        const QMetaObject* meta = object.metaObject();
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (!property.hasNotifySignal())
                continue;
            m_spies.append({QString::fromLatin1(property.name()),
                std::make_shared<QSignalSpy>(&object, property.notifySignal())});
        }
    }

    // The properties whose signal fired since construction or the last clear(), with how
    // often; silent properties are left out.
    Counts counts() const
    {
        Counts counts;
        for (const Spy& spy : m_spies) {
            if (!spy.spy->isEmpty())
                counts.insert(spy.property, static_cast<int>(spy.spy->count()));
        }
        return counts;
    }

    // Names of the properties whose signal fired, sorted.
    QStringList notified() const { return counts().keys(); }

    void clear()
    {
        for (const Spy& spy : m_spies)
            spy.spy->clear();
    }

private:
    struct Spy {
        QString property;
        std::shared_ptr<QSignalSpy> spy;
    };
    QList<Spy> m_spies;
};
