// FroIdHandler: the bookkeeping of fRO ids per fRO type.
//
// A complete (internal) id is 32 bits: bit 31 is 0, bits 30..12 hold the low 19
// bits of the fRO type, bits 11..0 the external id that signals and the database
// carry. The type cannot be read back from an id. For each type the external ids
// in use are kept in the order of taking; a new id is the lowest free one of
// 0..4094. Exhaustion is not detected: the search then gives 0 again.
//
// Beside the list in order of taking, each type keeps an index of the same ids: a
// count per id and a bit per id of 0..4095 that is in use. Whether an id is in use
// and which is the lowest free one are answered from the index, so that neither
// walks the list; the list stays what callers see (getUsedIds) and what a free
// erases from, keeping the order of the rest.
#ifndef FRO_ID_HANDLER_H
#define FRO_ID_HANDLER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

class TraceHandle;

class FroIdHandler {
  public:
    /// The ids of one type in use, counted: the same multiset as a type's usedIds.
    class UsedIdIndex {
      public:
        UsedIdIndex();
        /// One more holder of the id.
        void add(uint32_t externalFroId);
        /// One holder fewer; the caller has seen the id in use.
        void remove(uint32_t externalFroId);
        /// How many times the id is in use.
        uint32_t count(uint32_t externalFroId) const;
        /// The lowest id of 0..highest that is not in use; false when all are.
        bool lowestFree(uint32_t highest, uint32_t& externalFroId) const;

      private:
        // Ids 0..4095 are counted in place and marked in `taken`; a reserved id of
        // 4096 or more, kept unmasked, is counted in `countsAbove`.
        static constexpr uint32_t kCounted = 4096;
        static constexpr std::size_t kWordBits = 64;
        std::vector<uint32_t> counts;
        std::array<uint64_t, kCounted / kWordBits> taken{};
        std::unordered_map<uint32_t, uint32_t> countsAbove;
    };

    struct FroTypeEntry {
        uint32_t froType = 0;
        std::vector<uint32_t> usedIds;  // in order of taking, not sorted
        UsedIdIndex index;              // the same ids counted: answers isUsed and the search
    };

    /// The process-wide instance, made on first use and kept for the life of the process.
    static FroIdHandler& instance();

    FroIdHandler();
    virtual ~FroIdHandler();
    FroIdHandler(const FroIdHandler&) = delete;
    FroIdHandler& operator=(const FroIdHandler&) = delete;

    /// The low 12 bits of a complete id.
    virtual uint32_t getExternalFroId(uint32_t completeFroId) const;
    /// Takes the lowest free external id of the type and gives its complete id.
    virtual uint32_t getNewFroId(uint32_t froType);
    /// Gives back the external id of a complete id; false when it was not in use.
    virtual bool freeFroId(uint32_t froType, uint32_t completeFroId);
    /// Gives back an external id; false when it was not in use.
    virtual bool freeExternalFroId(uint32_t froType, uint32_t externalFroId);
    /// Takes that external id as given (unmasked); false when it is in use.
    virtual bool reserveFroId(uint32_t froType, uint32_t externalFroId);
    /// The complete id of an external id.
    virtual uint32_t transformExternalFroIdToInternal(uint32_t froType,
                                                      uint32_t externalFroId) const;
    /// Forgets every id of every type.
    virtual void clear();

    /// Appends the external id to the type's list without any test.
    void allocateFroId(uint32_t froType, uint32_t externalFroId);
    /// The lowest external id of 0..4094 not in use; 0 when all are taken or the type is unknown.
    uint32_t findLowestFreeFroId(uint32_t froType) const;
    /// ((froType << 12) & 0x7FFFF000) | (external & 0xFFF).
    uint32_t generateCompleteFroId(uint32_t froType, uint32_t externalFroId) const;
    /// Adds an entry for the type unless it has one.
    void createNewFroTypeList(uint32_t froType);

    /// Whether the external id is in use for the type.
    bool isUsed(uint32_t froType, uint32_t externalFroId) const;
    /// The external ids in use for the type, in order of taking.
    std::vector<uint32_t> getUsedIds(uint32_t froType) const;
    /// How many external ids are in use for the type (the length of its list).
    std::size_t usedIdCount(uint32_t froType) const;

  private:
    // Erases the first holder of the id from the list and the index; false when unused.
    bool eraseUsedId(uint32_t froType, uint32_t externalFroId);
    FroTypeEntry* findEntry(uint32_t froType);
    const FroTypeEntry* findEntry(uint32_t froType) const;

    std::vector<FroTypeEntry> froTypes;
    const TraceHandle* trace;
};

#endif  // FRO_ID_HANDLER_H
