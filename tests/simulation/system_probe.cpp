#include "x509/cry_x509_system.cpp"

#include "simulation/probes.hpp"

PB_INT probes::rootsSubscriptions() PB_UNCHECKED { return pb___SignalLength( cry___X509SystemSignal ); }
