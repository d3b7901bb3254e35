#include "bus/memory.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

#include "bus/attribution.h"
#include "bus/gate.h"
#include "bus/property_set.h"
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

}  // namespace

void* AllocateBlock(std::size_t size, Kind kind, Account& account) noexcept {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) return nullptr;
  try {
    Shard& shard = ShardOf(block);
    const MutexGuard guard(shard.lock);
    shard.blocks.Add({block, &account, size, kind});
  } catch (const std::bad_alloc&) {
    std::free(block);
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
  Shard& shard = ShardOf(block);
  const MutexGuard guard(shard.lock);
  const BlockInfo* const found = shard.blocks.Find(block);
  if (found == nullptr || (kind && found->kind != *kind)) return std::nullopt;
  const BlockInfo info = *found;
  shard.blocks.Remove(block);
  return info;
}

void ReleaseClaimed(const BlockInfo& info) noexcept {
  info.account->Return(info.kind);
  std::free(info.block);
}

std::optional<Kind> KindOfBlock(const void* block) noexcept {
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
  if (const auto info = kt::bus::ClaimBlock(block, std::nullopt)) {
    kt::bus::ReleaseClaimed(*info);
  } else {
    kt::bus::ReportWrongFree(Asker(KT_RETURN_ADDRESS()), block, "_KtFree");
  }
}
