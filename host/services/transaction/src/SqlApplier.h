// SqlApplier: applies the statements of one transaction in one database transaction.
//
// All of them are stored, or none: the first failing statement rolls the database
// transaction back. A connection lost before the commit is made anew once and the
// whole transaction tried again, since nothing of it was stored. A connection lost in
// the commit call itself leaves the outcome unknown: that is no success, and it is
// not tried again, which could store it twice.
#ifndef HOSTTX_SQL_APPLIER_H
#define HOSTTX_SQL_APPLIER_H

#include "OdbcSession.h"

#include <string>
#include <vector>

namespace hosttx {

class SqlApplier {
  public:
    explicit SqlApplier(std::string connectString);

    /// True when every statement is stored; false with the reason when none is.
    bool apply(const std::vector<std::string>& statements, std::string& failure);

  private:
    enum class Outcome { Applied, Failed, LostBeforeCommit };

    Outcome attempt(const std::vector<std::string>& statements, std::string& failure);
    Outcome undo(const std::string& what, std::string& failure);

    hostdb::OdbcSession m_session;
};

}  // namespace hosttx

#endif  // HOSTTX_SQL_APPLIER_H
