#include "RuntimeFolder.h"

namespace kalvex::cli {

void PrepareRuntimeFolder() {}

}  // namespace kalvex::cli
