#include "state/shared_record.h"

namespace tavlin {

SharedRecord& ThreadSharedRecord() {
  // The thread is the apartment: one record for all objects created on it.
  thread_local SharedRecord record;
  return record;
}

}  // namespace tavlin
