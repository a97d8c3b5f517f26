#include <bn/bn.h>
#include <pb/module.hpp>

PB_MODULE_DEFINE( bn, "Big integers", "0.2", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
