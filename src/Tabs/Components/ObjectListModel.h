#pragma once

#include <QAbstractListModel>
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// A list of the screens' objects (workspaces, apps, ...) as a list model with one role,
// named by the owner (e.g. "workspace"). setObjects() changes the rows one by one: rows of
// objects that stay keep their place in the views, and a row's data changes when its
// object says it changed.
class ObjectListModel final : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the view models")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    // `changedSignal` is the objects' signal that tells their row changed, e.g.
    // SIGNAL(changed()); null when they never change.
    ObjectListModel(QByteArray roleName, const char* changedSignal, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_objects.size()); }
    const QList<QObject*>& objects() const { return m_objects; }
    Q_INVOKABLE QObject* at(int row) const;

    // Makes the rows hold `objects`, in that order, by moving, inserting and removing rows.
    void setObjects(const QList<QObject*>& objects);

Q_SIGNALS:
    void countChanged();

private Q_SLOTS:
    void objectChanged();

private:
    void insertObject(int row, QObject* object);
    void removeRow(int row);
    void moveRow(int from, int to);

    QByteArray m_roleName;
    const char* m_changedSignal;
    QList<QObject*> m_objects;
};
