#include "bus/memory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/huge_pages.h"
#include "bus/inlining.h"
#include "bus/property_set.h"
#include "bus/small_blocks.h"
#include "bus/trace.h"
#include "bus/wrong_free.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {
namespace {

constexpr std::size_t kShards = 64;

struct Shard {
  Mutex lock;
  PointerTable blocks KT_GUARDED_BY(lock);
};

Shard& ShardOf(const void* block) {
  // Never destroyed: blocks are released very late, when the process unloads its modules.
  static std::array<Shard, kShards>& shards = *new std::array<Shard, kShards>;
  const std::uint64_t number = std::bit_cast<std::uintptr_t>(block) >> 4U;
  return shards[static_cast<std::size_t>((number * 0x9E3779B97F4A7C15U) >> 58U)];
}

// Finds a block in the table and takes it out.
KT_SELDOM std::optional<BlockInfo> ClaimElsewhere(const void* block,
                                                  std::optional<Kind> kind) noexcept {
  Shard& shard = ShardOf(block);
  const MutexGuard guard(shard.lock);
  const BlockInfo* const found = shard.blocks.Find(block);
  if (found == nullptr || (kind && found->kind != *kind)) return std::nullopt;
  const BlockInfo info = *found;
  shard.blocks.Remove(block);
  return info;
}

}  // namespace

void ReportOverrun(const BlockInfo& info) noexcept {
  info.account->CountOverrun(info.kind);
  WriteTrace(kTraceError,
             "ktbus3: %llu bytes at %p (%s), handed out to %s, were written past their end",
             static_cast<unsigned long long>(info.size), info.block, KindText(info.kind),
             NameInTrace(*info.account));
}

void* AllocateElsewhere(std::size_t size, std::size_t room, Kind kind, Account& account) noexcept {
  void* const block = ::operator new(std::max<std::size_t>(room, 1), std::nothrow);
  if (block == nullptr) return nullptr;
  WantHugePages(block, room);
  SetGuard(block, size);
  try {
    Shard& shard = ShardOf(block);
    const MutexGuard guard(shard.lock);
    shard.blocks.Add({block, &account, size, kind});
  } catch (const std::bad_alloc&) {
    ::operator delete(block);
    return nullptr;
  }
  account.HandOut(kind);
  return block;
}

char* AllocateText(std::string_view text, Account& account) noexcept {
  auto* const block = static_cast<char*>(AllocateBlock(text.size() + 1, Kind::kText, account));
  if (block == nullptr) return nullptr;
  std::memcpy(block, text.data(), text.size());
  block[text.size()] = '\0';
  return block;
}

std::optional<BlockInfo> ClaimBlock(const void* block, std::optional<Kind> kind) noexcept {
  if (auto small = small_blocks::Claim(block, kind)) return small;
  return ClaimElsewhere(block, kind);
}

void ReleaseClaimed(const BlockInfo& info) noexcept {
  if (info.small) {
    ReleaseSmall(info);
    return;
  }
  if (!GuardIsWhole(info)) ReportOverrun(info);
  info.account->Return(info.kind);
  ::operator delete(info.block);
}

std::optional<Kind> KindOfBlock(const void* block) noexcept {
  if (const auto small = small_blocks::KindOf(block)) return small;
  Shard& shard = ShardOf(block);
  const MutexGuard guard(shard.lock);
  const BlockInfo* const found = shard.blocks.Find(block);
  return found == nullptr ? std::nullopt : std::optional(found->kind);
}

}  // namespace kt::bus

using kt::bus::Asker;
using kt::bus::Kind;

void* _KtAlloc(size_t size) {
  KT_GATE(_KtAlloc, size);
  return kt::bus::AllocateBlock(size, Kind::kBlock, Asker(KT_RETURN_ADDRESS()));
}

void _KtFree(void* block) {
  KT_GATE(_KtFree, block);
  if (block == nullptr) return;
  if (const auto small = kt::bus::small_blocks::Claim(block, std::nullopt)) {
    kt::bus::ReleaseSmall(*small);
  } else if (const auto info = kt::bus::ClaimElsewhere(block, std::nullopt)) {
    kt::bus::ReleaseClaimed(*info);
  } else {
    kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), block, "_KtFree");
  }
}
