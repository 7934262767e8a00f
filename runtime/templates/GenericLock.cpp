#include "runtime/templates/GenericLock.h"

namespace orva::templates::patterns {

GenericLock::~GenericLock() = default;

} // namespace orva::templates::patterns
