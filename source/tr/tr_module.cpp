#include <tr/tr.h>
#include <pb/module.hpp>

PB_MODULE_DEFINE( tr, "Trace", "0.2", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
