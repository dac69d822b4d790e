#include "module/datadescription_tessarocs.h"

#include "host/resources/description_database.h"

namespace tessaroc::module {

namespace {

// Builds <application resources>/modules/tessarocs.module and registers it
// for both ids; stops at the first failure.
Result DescriptionHook(host::DescriptionDatabase& db) {
  const Url base = host::ApplicationResources();
  if (base.IsEmpty()) return Result::Fail(errors::kIo, "no application resource folder");
  const Url location = base.Append("modules").Append("tessarocs.module");
  for (const char* id : kDatabaseIds) TESSAROC_RETURN_IF_FAILED(db.RegisterDatabaseWithUrl(location, id));
  return Result::Ok();
}

}  // namespace

Result RegisterDescriptionEntry() {
  host::Descriptions().AddRegisterHook(&DescriptionHook);
  return Result::Ok();
}

Result UnregisterDescriptionEntry() {
  host::Descriptions().RemoveRegisterHook(&DescriptionHook);
  host::Descriptions().Clear();
  return Result::Ok();
}

}  // namespace tessaroc::module
