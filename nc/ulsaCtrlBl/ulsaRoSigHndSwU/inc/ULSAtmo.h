// ULSAtmo: the process-wide list of the supervision time-outs.
//
// Each record is a kernel time-out that delivers a ULSA_TMO_SIG carrying the
// record's id, preload and tmo_type to the process that requested it. A record is
// known by that triple; every supervision of this load module uses tmo_type 0.
// Made on first use by getInstance(); main process only, no lock.
#ifndef ULSA_TMO_H
#define ULSA_TMO_H

#include "ose.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// One running time-out.
struct TmoRecord {
    uint32_t tmoTime;   // milliseconds
    OSTMOREF timerRef;  // the kernel's reference
    uint32_t id;
    uint32_t preload;
    uint32_t tmo_type;
};

class ULSAtmo {
  public:
    /// Results of ulsa_set_Tmo().
    static constexpr uint32_t started = 1;
    static constexpr uint32_t refused = 3;

    /// The list, made on first use.
    static ULSAtmo* getInstance();
    /// Deletes the list (its destructor does not cancel); the next getInstance()
    /// makes a new one.
    static void destroyInstance();

    /// Requests a kernel time-out that delivers *sig after tmoTime ms.
    virtual OSTMOREF requestTmo(OSTIME tmoTime, union SIGNAL** sig);
    /// Cancels a kernel time-out; its signal, or null once it has been delivered.
    virtual union SIGNAL* cancelTmo(OSTMOREF* timerRef);
    virtual ~ULSAtmo();
    /// Cancels every record; a list that is still not empty then is reported as a
    /// process-level error.
    virtual void clear();

    /// Starts a time-out for the triple: started, or refused when the triple runs.
    uint32_t ulsa_set_Tmo(uint32_t id, uint32_t preload, uint32_t tmoTime, uint32_t tmo_type);
    /// Forgets a record without cancelling (its time-out has fired); 1.
    uint32_t remove_Tmo(uint32_t id, uint32_t preload, uint32_t tmo_type);
    /// Forgets the record that a received ULSA_TMO_SIG (owned by the caller) names; 1.
    uint32_t remove_Tmo(const union SIGNAL* sig);
    /// Cancels the time-out and forgets the record; nothing when there is none; 1.
    uint32_t cancel_Tmo(uint32_t id, uint32_t preload, uint32_t tmo_type);
    /// Cancels every record of the id and type.
    void cancelAllTMOtypes(uint32_t id, uint32_t tmo_type);
    /// Traces every record.
    void list() const;

    /// How many records run.
    std::size_t size() const { return dataVec.size(); }
    /// Whether the triple runs.
    bool contains(uint32_t id, uint32_t preload, uint32_t tmo_type) const;

    ULSAtmo(const ULSAtmo&) = delete;
    ULSAtmo& operator=(const ULSAtmo&) = delete;

  protected:
    ULSAtmo() = default;

  private:
    std::vector<TmoRecord>::iterator find(uint32_t id, uint32_t preload, uint32_t tmo_type);
    void erase(uint32_t id, uint32_t preload, uint32_t tmo_type);

    std::vector<TmoRecord> dataVec;
};

#endif  // ULSA_TMO_H
