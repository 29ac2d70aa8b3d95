#include "Tabs/Components/ObjectListModel.h"

#include <utility>

ObjectListModel::ObjectListModel(
    QByteArray roleName, const char* changedSignal, QObject* parent)
    : QAbstractListModel(parent), m_roleName(std::move(roleName)), m_changedSignal(changedSignal)
{
}

int ObjectListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ObjectListModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)
        || role != Qt::UserRole)
        return {};
    return QVariant::fromValue(m_objects.at(index.row()));
}

QHash<int, QByteArray> ObjectListModel::roleNames() const
{
    return {{Qt::UserRole, m_roleName}};
}

QObject* ObjectListModel::at(int row) const
{
    return row >= 0 && row < count() ? m_objects.at(row) : nullptr;
}

void ObjectListModel::setObjects(const QList<QObject*>& objects)
{
    const qsizetype before = m_objects.size();
    for (int row = 0; row < objects.size(); ++row) {
        QObject* wanted = objects.at(row);
        if (row < m_objects.size() && m_objects.at(row) == wanted)
            continue;
        // Objects are listed once each, so one found further down moves up to this row.
        const qsizetype found = m_objects.indexOf(wanted, row + 1);
        if (found >= 0)
            moveRow(int(found), row);
        else
            insertObject(row, wanted);
    }
    while (m_objects.size() > objects.size())
        removeRow(int(m_objects.size()) - 1);
    if (m_objects.size() != before)
        Q_EMIT countChanged();
}

void ObjectListModel::insertObject(int row, QObject* object)
{
    beginInsertRows({}, row, row);
    m_objects.insert(row, object);
    if (m_changedSignal)
        connect(object, m_changedSignal, this, SLOT(objectChanged()));
    endInsertRows();
}

void ObjectListModel::removeRow(int row)
{
    beginRemoveRows({}, row, row);
    disconnect(m_objects.takeAt(row), nullptr, this, nullptr);
    endRemoveRows();
}

void ObjectListModel::moveRow(int from, int to)
{
    beginMoveRows({}, from, from, {}, to);
    m_objects.move(from, to);
    endMoveRows();
}

void ObjectListModel::objectChanged()
{
    const qsizetype row = m_objects.indexOf(sender());
    if (row >= 0)
        Q_EMIT dataChanged(index(int(row)), index(int(row)), {Qt::UserRole});
}
