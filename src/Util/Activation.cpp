#include "Util/Activation.h"

#include <algorithm>
#include <utility>

Activation::Activation(QList<AppInfoPtr> apps)
    : m_apps(std::move(apps)), m_outcomes(m_apps.size()), m_launching(m_apps.size(), false)
{
}

bool Activation::hasFailures() const
{
    return std::any_of(m_outcomes.cbegin(), m_outcomes.cend(),
        [](const AppOutcome& outcome) { return outcome.isFinal() && !outcome.isSuccess(); });
}

void Activation::setLaunching(qsizetype index)
{
    m_outcomes[index] = AppOutcome{};
    m_launching[index] = true;
    ++m_pending;
    Q_EMIT appLaunching(index);
}

void Activation::setOutcome(qsizetype index, const AppOutcome& outcome)
{
    const bool wasLaunching = std::exchange(m_launching[index], false);
    m_outcomes[index] = outcome;
    Q_EMIT appFinished(index);
    if (wasLaunching && --m_pending == 0)
        Q_EMIT finished();
}
