#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>

#include <memory>

// The QML-facing objects of a list of records: each record keeps one object for as long as
// it is listed, so screens see the same object across re-reads. `Object` wraps a
// `std::shared_ptr<Record>` and has a constructor (record, parent).
template <typename Record, typename Object> class RecordObjects {
public:
    using RecordPtr = std::shared_ptr<Record>;

    explicit RecordObjects(QObject* owner) : m_owner(owner) { }

    // The object of the record, made on first use; null for a null record.
    Object* objectFor(const RecordPtr& record)
    {
        if (!record)
            return nullptr;
        Object*& object = m_objects[record.get()];
        if (!object)
            object = new Object(record, m_owner);
        return object;
    }

    QList<QObject*> objectsFor(const QList<RecordPtr>& records)
    {
        QList<QObject*> objects;
        objects.reserve(records.size());
        for (const RecordPtr& record : records)
            objects.append(objectFor(record));
        return objects;
    }

    // Releases the objects of every record not in `kept`, once control returns to the event
    // loop (a screen may still be reading them).
    void keepOnly(const QList<RecordPtr>& kept)
    {
        QSet<const Record*> keep;
        for (const RecordPtr& record : kept)
            keep.insert(record.get());
        for (auto it = m_objects.begin(); it != m_objects.end();) {
            if (keep.contains(it.key())) {
                ++it;
                continue;
            }
            it.value()->deleteLater();
            it = m_objects.erase(it);
        }
    }

    QList<Object*> objects() const { return m_objects.values(); }

private:
    QObject* m_owner;
    QHash<const Record*, Object*> m_objects;
};
