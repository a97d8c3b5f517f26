#include <pb/module.hpp>
#include <rfc/rfc.h>

PB_MODULE_DEFINE( rfc, "Base encodings", "0.2", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
