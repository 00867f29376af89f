#include "SqlApplier.h"

#include <utility>

namespace hosttx {

namespace {

bool blank(const std::string& statement) {
    return statement.find_first_not_of(" \t\r\n;") == std::string::npos;
}

}  // namespace

SqlApplier::SqlApplier(std::string connectString) : m_session(std::move(connectString)) {}

bool SqlApplier::apply(const std::vector<std::string>& statements, std::string& failure) {
    bool work = false;
    for (const std::string& statement : statements)
        work = work || !blank(statement);
    if (!work)
        return true;
    Outcome outcome = attempt(statements, failure);
    if (outcome == Outcome::LostBeforeCommit) {
        m_session.disconnect();
        outcome = attempt(statements, failure);
    }
    if (outcome != Outcome::Applied && m_session.connectionLost())
        m_session.disconnect();
    return outcome == Outcome::Applied;
}

SqlApplier::Outcome SqlApplier::undo(const std::string& what, std::string& failure) {
    const bool lost = m_session.connectionLost();
    failure = what + ": " + hostdb::diagnosticsText(m_session.lastError());
    // The database drops an open transaction whose connection is gone by itself.
    if (!lost) {
        m_session.rollback();
        m_session.setAutoCommit(true);
    }
    return lost ? Outcome::LostBeforeCommit : Outcome::Failed;
}

SqlApplier::Outcome SqlApplier::attempt(const std::vector<std::string>& statements,
                                        std::string& failure) {
    if (!m_session.connect()) {
        failure =
            "no connection to the database: " + hostdb::diagnosticsText(m_session.lastError());
        return Outcome::Failed;
    }
    if (!m_session.setAutoCommit(false))
        return undo("cannot begin a database transaction", failure);
    for (std::size_t i = 0; i < statements.size(); ++i) {
        if (blank(statements[i]))
            continue;
        if (!m_session.execute(statements[i]))
            return undo("statement " + std::to_string(i + 1) + " of " +
                            std::to_string(statements.size()) + " failed",
                        failure);
    }
    if (!m_session.commit()) {
        const bool lost = m_session.connectionLost();
        undo(lost ? "the connection was lost in the commit, its outcome is unknown"
                  : "the database refused the commit",
             failure);
        return Outcome::Failed;
    }
    m_session.setAutoCommit(true);
    return Outcome::Applied;
}

}  // namespace hosttx
