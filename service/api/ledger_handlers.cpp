#include "api/handlers.h"
#include "json_report.h"
#include "ledger.h"

namespace ktsvc::api {

Response GetLedger(const Call& /*call*/) {
  return JsonResponse(LedgerJson(ReadLedger()));
}

}  // namespace ktsvc::api
