#pragma once

#include "tests/faults/expectations.h"
#include "tests/faults/machines.h"

#include <QList>
#include <QString>
#include <QTemporaryDir>

#include <functional>

namespace faults {

/// One fault of one call, with the call's place in the whole run.
struct Cell {
    Fault fault;
    int overall = 0;     ///< which of all calls of the operation, from 1
    bool always = false; ///< all later calls fail as well

    QString name() const;
};

/// Walks on one kind of machine, each time in a process and a folder of its own.
class Matrix
{
public:
    explicit Matrix(MachineMaker maker) : m_maker(std::move(maker)) {}

    /// Walks without a fault and makes the cells of every call that it saw, each
    /// failure code and each unusual answer. Empty when it did not go as
    /// expected; what was wrong is in *complaint.
    QList<Cell> record(QString *complaint);

    /// Walks with the fault, and then once more without one, in the state that
    /// the first walk left behind. What was not as expected, for people; "" when
    /// everything was.
    QString run(const Cell &cell) const;

private:
    QString walk(const QString &folder, const Cell &cell, bool isFirst, Story *story) const;

    MachineMaker m_maker;
    Facts m_healthyFacts;
    // Of the latest walk.
    mutable Facts m_facts;
    mutable QStringList m_calls;
    mutable int m_fired = 0;
};

} // namespace faults
