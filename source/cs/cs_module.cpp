#include <cs/cs.h>
#include <pb/module.hpp>

PB_MODULE_DEFINE( cs, "Configuration", "0.2", "pb tr", pb::startNothing, pb::doNothing, pb::doNothing )
