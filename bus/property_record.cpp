#include "bus/property_record.h"

#include <bit>
#include <cstring>
#include <new>
#include <vector>

#include "bus/memory.h"
#include "bus/property_map.h"
#include "bus/property_set.h"

namespace kt::bus {
namespace {

// Property sets made for a record; destroyed again unless the record is completed.
class MadeSets {
 public:
  explicit MadeSets(Account& account) : account_(account) {}
  ~MadeSets() {
    for (const KtPropset handle : handles_) DestroyPropset(handle);
  }
  MadeSets(const MadeSets&) = delete;
  MadeSets& operator=(const MadeSets&) = delete;

  KtPropset Make(const PropertyMap& set) {
    handles_.reserve(handles_.size() + 1);
    handles_.push_back(NewPropset(set, &account_));
    return handles_.back();
  }
  void Keep() noexcept { handles_.clear(); }

 private:
  Account& account_;
  std::vector<KtPropset> handles_;
};

void FillLinks(const PropertyImage& property, std::byte* record, Account& account) {
  MadeSets made(account);
  VisitLinks(
      record,
      [record](std::byte* place) {
        StoreLink(place, std::bit_cast<std::uintptr_t>(record) + LoadLink(place));
      },
      [&](std::byte* place) {
        const KtPropset set = made.Make(*property.sets[LoadLink(place) - 1]);
        StoreLink(place, std::bit_cast<std::uint64_t>(set));
      });
  made.Keep();
}

// Its holder may have changed the record, so a list is only followed where it lies inside the
// block.
void DestroyCarriedSets(const cuvo_property& record, const BlockInfo& block) noexcept {
  const TypeLayout& layout = FindLayout(record.type);
  if (record.type == TYPE_PROPSET) {
    DestroyPropset(static_cast<KtPropset>(record.value));
    return;
  }
  if (layout.shape != Shape::kSet && layout.shape != Shape::kFormatMessage) return;
  const std::size_t count = (record.type & kListBit) != 0 ? record.length : 1;
  const auto begin = std::bit_cast<std::uintptr_t>(block.block);
  const auto list = std::bit_cast<std::uintptr_t>(record.value);
  if (list < begin || list - begin > block.size) return;
  if (count > (block.size - (list - begin)) / layout.width) return;
  for (std::size_t i = 0; i < count; ++i) {
    const auto* const element = static_cast<const std::byte*>(record.value) + i * layout.width;
    KtPropset handle = nullptr;
    if (layout.shape == Shape::kSet) {
      std::memcpy(&handle, element, sizeof(handle));
    } else {
      std::memcpy(&handle, element + offsetof(KtI18NFormatString, insertions), sizeof(handle));
    }
    if (handle != nullptr) DestroyPropset(handle);
  }
}

}  // namespace

cuvo_property* MakeAnyRecord(const PropertyImage& property, Account& account) {
  auto* const block = static_cast<std::byte*>(AllocateBlock(property.size, Kind::kRecord, account));
  if (block == nullptr) throw std::bad_alloc();
  std::memcpy(block, property.bytes, property.size);
  if (IsPlain(property.Head().type)) return WriteHead(block, property.bytes);
  try {
    FillLinks(property, block, account);
  } catch (...) {
    if (const auto claimed = ClaimBlock(block, Kind::kRecord)) ReleaseClaimed(*claimed);
    throw;
  }
  return std::bit_cast<cuvo_property*>(block);
}

bool FreeLargeRecord(cuvo_property* record) noexcept {
  const auto block = ClaimBlock(record, Kind::kRecord);
  if (!block) return false;
  if (!IsPlain(record->type)) DestroyCarriedSets(*record, *block);
  ReleaseClaimed(*block);
  return true;
}

bool FreeClaimedRecord(cuvo_property* record, small_blocks::Word word) noexcept {
  const BlockInfo info = small_blocks::InfoOf(record, word);
  if (!IsPlain(record->type)) DestroyCarriedSets(*record, info);
  ReleaseSmall(info);
  return true;
}

}  // namespace kt::bus
