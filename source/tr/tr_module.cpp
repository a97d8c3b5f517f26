#include <pb/module.hpp>
#include <tr/tr.h>

PB_MODULE_DEFINE( tr, "Trace", "0.2", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
