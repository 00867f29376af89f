// dummy_fRO: a fRO without behaviour of its own: what an MO type without a
// registered class gets, and what every shadow of a transaction is.
#ifndef DUMMY_FRO_H
#define DUMMY_FRO_H

#include "fRO.h"

#include <string>

class dummy_fRO : public fRO {
  public:
    /// A fRO whose subject name is the MO type.
    explicit dummy_fRO(std::string moTypeName);

    /// The MO type.
    std::string getSubjectName() const override;

  protected:
    ~dummy_fRO() override;

  private:
    std::string moType;
};

#endif  // DUMMY_FRO_H
