#include "module/loaded_module.h"

#include <bit>

#include "module/surroundings.h"

LoadedModule::LoadedModule() : library_(LoadLibraryFile(HOSTKIT_FILE)) {
  entry_ = std::bit_cast<decltype(entry_)>(FindExport(library_, "ProviderEntry"));
}

LoadedModule::~LoadedModule() {
  UnloadLibraryFile(library_);
}

KtStatus LoadedModule::Control(const KtObjId& object, const KtGuid& interface_id,
                               std::uint32_t code, KtPropset input, KtPropset output) {
  std::uint64_t provider = 0;
  return table_.Control(&object, 0, code, input, output, 0, 0, 0, 0,
                        std::bit_cast<std::uint64_t>(&interface_id), 0, &provider);
}

KtStatus LoadedModule::Notify(const char* name, KtDatabase database) {
  const KtEventRecord record{1, name, nullptr, database};
  return table_.ChangeNotify(0, 0, 0, std::bit_cast<std::uint64_t>(&record));
}
