#include "vault/cry_vault.cpp"

#include "simulation/probes.hpp"

PB_INT probes::vaultSubscriptions() PB_UNCHECKED { return pb___SignalLength( updateSignal ); }
