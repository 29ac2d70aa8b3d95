#pragma once

#include <QUuid>

// Common ground of the stored records: an immutable identity and a flag that tells the
// store the record changed since it was last saved or loaded.
class PersistentModel {
public:
    explicit PersistentModel(const QUuid& id) : m_id(id) {}
    PersistentModel(const PersistentModel&) = delete;
    PersistentModel& operator=(const PersistentModel&) = delete;

    QUuid id() const { return m_id; }

    bool hasChanges() const { return m_hasChanges; }
    void markChanged() { m_hasChanges = true; }
    void markSaved() { m_hasChanges = false; }

protected:
    ~PersistentModel() = default;

private:
    const QUuid m_id;
    bool m_hasChanges = true;
};
