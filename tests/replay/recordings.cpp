#include "replay/recordings.h"

#include <gtest/gtest.h>

#include "host_system.h"
#include "module_file.h"
#include "progress.h"
#include "property_writer.h"
#include "provider_host.h"
#include "replay/recorder.h"

namespace replay_test {
namespace {

constexpr KtGuid kInterface{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

KtObjId ServedObject(KtDatabase database) {
  KtObjId found{};
  KtBusVisitObjects(
      database, "qelm_ktvm",
      [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
        *static_cast<KtObjId*>(context) = info->id;
        return 0;
      },
      &found);
  return found;
}

KtStatus Send(KtDatabase database, std::uint32_t code, const ktsvc::PropertyList& input) {
  const KtObjId object = ServedObject(database);
  const ktsvc::OwnedSet set = ktsvc::MakePropertySet(input);
  const ktsvc::OwnedSet answer = ktsvc::MakePropertySet({});
  KtStatus status = 0;
  EXPECT_EQ(
      KtBusSendControl(database, &object, &kInterface, 3, code, set.get(), answer.get(), &status),
      0U);
  return status;
}

}  // namespace

std::filesystem::path Variant(const std::string& name) {
  return ktsvc::ProgramFolder().parent_path() / "tests" / "replay" / "modules" / name /
         ("replayed" + std::string(ktsvc::ModuleSuffix()));
}

void RecordLife(const std::filesystem::path& file, const std::string& variant) {
  ktsvc::Progress progress(true);
  KtDatabase database = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&database), 0U);
  ktreplay::Recorder recorder(file, "test", {});
  {
    ktsvc::ProviderHost host(database, progress);
    EXPECT_TRUE(host.Start(ktsvc::PathText(Variant(variant)), {}));
    EXPECT_EQ(Send(database, 10, {{"n", TYPE_UINT32, 0, {std::uint32_t{32}}}}), 0U);
    EXPECT_EQ(Send(database, 11, {}), 0x80070057U);
    EXPECT_EQ(Send(database, 99, {}), KTBUS_PROVIDER_THREW);
    const ktsvc::OwnedSet set = ktsvc::MakePropertySet({{"who", TYPE_STR, 0, {"alice"}}});
    EXPECT_EQ(KtBusRaiseEvent(database, "site.opens", set.get()), 0U);
    EXPECT_EQ(KtBusRaiseEvent(database, "site.closes", nullptr), 0U);
    EXPECT_EQ(KtBusWaitForDelivery(database, 600000), 0U);
  }
  const ktreplay::RecordingEnd end = recorder.Stop();
  EXPECT_EQ(end.failure, "");
  EXPECT_GT(end.items, 0U);
  KtBusCloseDatabase(database);
}

std::vector<ktreplay::Item> ItemsOf(const std::filesystem::path& file) {
  ktreplay::RecordingReader reader(file);
  std::vector<ktreplay::Item> items;
  ktreplay::Item item;
  while (reader.Next(item)) {
    items.push_back(item);
  }
  return items;
}

void WriteItems(const std::filesystem::path& file, const std::vector<ktreplay::Item>& items,
                bool end) {
  ktreplay::RecordingWriter writer(file, {"test", "here", 1});
  for (const ktreplay::Item& item : items) {
    writer.Put(item);
  }
  end ? writer.End() : writer.Flush();
}

ktreplay::Item& FindItem(std::vector<ktreplay::Item>& items, ktreplay::ItemKind kind,
                         const std::string& function, std::size_t nth) {
  for (ktreplay::Item& item : items) {
    if (item.kind == kind && item.function == function && nth-- == 0) {
      return item;
    }
  }
  ADD_FAILURE() << "no " << function;
  static ktreplay::Item none;
  return none;
}

}  // namespace replay_test
