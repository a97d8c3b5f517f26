#include <in/in.h>
#include <pb/module.hpp>

PB_MODULE_DEFINE( in, "Internet addresses and names", "0.2", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
