#include "FroIdHandler.h"

#include "froMgmtTrace.h"

#include <algorithm>

namespace {
// The search for a free id stops below 4095, which is never handed out by it.
constexpr uint32_t kHighestSearchedId = 4094;
}  // namespace

FroIdHandler::UsedIdIndex::UsedIdIndex() : counts(kCounted, 0) {}

void FroIdHandler::UsedIdIndex::add(uint32_t externalFroId) {
    if (externalFroId >= kCounted) {
        ++countsAbove[externalFroId];
        return;
    }
    if (counts[externalFroId]++ == 0) {
        taken[externalFroId / kWordBits] |= uint64_t{1} << (externalFroId % kWordBits);
    }
}

void FroIdHandler::UsedIdIndex::remove(uint32_t externalFroId) {
    if (externalFroId >= kCounted) {
        auto found = countsAbove.find(externalFroId);
        if (found != countsAbove.end() && --found->second == 0) {
            countsAbove.erase(found);
        }
        return;
    }
    if (counts[externalFroId] != 0 && --counts[externalFroId] == 0) {
        taken[externalFroId / kWordBits] &= ~(uint64_t{1} << (externalFroId % kWordBits));
    }
}

uint32_t FroIdHandler::UsedIdIndex::count(uint32_t externalFroId) const {
    if (externalFroId >= kCounted) {
        auto found = countsAbove.find(externalFroId);
        return found != countsAbove.end() ? found->second : 0;
    }
    return counts[externalFroId];
}

bool FroIdHandler::UsedIdIndex::lowestFree(uint32_t highest, uint32_t& externalFroId) const {
    // The first word with a clear bit holds the answer: at most 64 words to look at.
    for (std::size_t word = 0; word < taken.size(); ++word) {
        const uint64_t freeBits = ~taken[word];
        if (freeBits == 0) {
            continue;
        }
        const uint32_t candidate = static_cast<uint32_t>(
            word * kWordBits + static_cast<std::size_t>(__builtin_ctzll(freeBits)));
        if (candidate > highest) {
            return false;
        }
        externalFroId = candidate;
        return true;
    }
    return false;
}

FroIdHandler& FroIdHandler::instance() {
    // Never destroyed: fROs free their ids from their destructors, up to the end.
    static FroIdHandler* handler = new FroIdHandler();
    return *handler;
}

FroIdHandler::FroIdHandler() : trace(&froMgmtTrace()) {}

FroIdHandler::~FroIdHandler() {
    clear();
}

FroIdHandler::FroTypeEntry* FroIdHandler::findEntry(uint32_t froType) {
    for (FroTypeEntry& entry : froTypes) {
        if (entry.froType == froType) {
            return &entry;
        }
    }
    return nullptr;
}

const FroIdHandler::FroTypeEntry* FroIdHandler::findEntry(uint32_t froType) const {
    return const_cast<FroIdHandler*>(this)->findEntry(froType);
}

uint32_t FroIdHandler::getExternalFroId(uint32_t completeFroId) const {
    return completeFroId & 0xFFFu;
}

uint32_t FroIdHandler::getNewFroId(uint32_t froType) {
    const uint32_t external = findLowestFreeFroId(froType);
    allocateFroId(froType, external);
    return generateCompleteFroId(froType, external);
}

bool FroIdHandler::freeFroId(uint32_t froType, uint32_t completeFroId) {
    const uint32_t external = getExternalFroId(completeFroId);
    if (!eraseUsedId(froType, external)) {
        return false;
    }
    TRACE(*trace, 8, "freeFroId: freed froId: %u for froType: 0x%08x ", external, froType);
    return true;
}

bool FroIdHandler::freeExternalFroId(uint32_t froType, uint32_t externalFroId) {
    if (!eraseUsedId(froType, externalFroId)) {
        return false;
    }
    TRACE(*trace, 8, "freeExternalFroId: freed froId: %u for froType: 0x%08x ", externalFroId,
          froType);
    return true;
}

bool FroIdHandler::eraseUsedId(uint32_t froType, uint32_t externalFroId) {
    FroTypeEntry* entry = findEntry(froType);
    if (entry == nullptr || entry->index.count(externalFroId) == 0) {
        return false;
    }
    // The first holder in order of taking goes; the rest keep their order.
    auto found = std::find(entry->usedIds.begin(), entry->usedIds.end(), externalFroId);
    if (found == entry->usedIds.end()) {
        return false;  // cannot be: the index counts what the list holds
    }
    entry->usedIds.erase(found);
    entry->index.remove(externalFroId);
    return true;
}

bool FroIdHandler::reserveFroId(uint32_t froType, uint32_t externalFroId) {
    createNewFroTypeList(froType);
    if (isUsed(froType, externalFroId)) {
        TRACE(*trace, 1, "Failed to reserve froId: %u for froType: 0x%08x (already taken)",
              externalFroId, froType);
        return false;
    }
    allocateFroId(froType, externalFroId);
    TRACE(*trace, 8, "reserveFroId: reserved froId: %u for froType: 0x%08x", externalFroId,
          froType);
    return true;
}

uint32_t FroIdHandler::transformExternalFroIdToInternal(uint32_t froType,
                                                        uint32_t externalFroId) const {
    return ((froType << 12) & 0x7FFFF000u) | (externalFroId & 0xFFFu);
}

void FroIdHandler::clear() {
    for (FroTypeEntry& entry : froTypes) {
        entry.usedIds.clear();
    }
    froTypes.clear();
}

void FroIdHandler::allocateFroId(uint32_t froType, uint32_t externalFroId) {
    createNewFroTypeList(froType);
    FroTypeEntry* entry = findEntry(froType);
    if (entry == nullptr) {
        return;  // cannot be: the list was made just now
    }
    entry->usedIds.push_back(externalFroId);
    entry->index.add(externalFroId);
    TRACE(*trace, 8, "allocateFroId: allocated froId: %u for froType: 0x%08x", externalFroId,
          froType);
}

uint32_t FroIdHandler::findLowestFreeFroId(uint32_t froType) const {
    const FroTypeEntry* entry = findEntry(froType);
    uint32_t lowest = 0;
    if (entry == nullptr || !entry->index.lowestFree(kHighestSearchedId, lowest)) {
        return 0;  // unknown type, or every id of 0..4094 taken
    }
    TRACE(*trace, 8, "findLowestFreeFroId: found lowest froId: %u for froType: 0x%08x", lowest,
          froType);
    return lowest;
}

uint32_t FroIdHandler::generateCompleteFroId(uint32_t froType, uint32_t externalFroId) const {
    const uint32_t complete = transformExternalFroIdToInternal(froType, externalFroId);
    TRACE(*trace, 8,
          "generateCompleteFroId: generated completeFroId (internalId): 0x%08x from froType: "
          "0x%08x and external froId: 0x%08x",
          complete, froType, externalFroId);
    return complete;
}

void FroIdHandler::createNewFroTypeList(uint32_t froType) {
    if (findEntry(froType) != nullptr) {
        return;
    }
    froTypes.emplace_back();
    froTypes.back().froType = froType;
    TRACE(*trace, 8, "createNewFroTypeList: created new type vector, froType: 0x%08x", froType);
}

bool FroIdHandler::isUsed(uint32_t froType, uint32_t externalFroId) const {
    const FroTypeEntry* entry = findEntry(froType);
    return entry != nullptr && entry->index.count(externalFroId) != 0;
}

std::vector<uint32_t> FroIdHandler::getUsedIds(uint32_t froType) const {
    const FroTypeEntry* entry = findEntry(froType);
    return entry != nullptr ? entry->usedIds : std::vector<uint32_t>();
}

std::size_t FroIdHandler::usedIdCount(uint32_t froType) const {
    const FroTypeEntry* entry = findEntry(froType);
    return entry != nullptr ? entry->usedIds.size() : 0;
}
