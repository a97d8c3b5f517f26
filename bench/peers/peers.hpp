// Pairs with other libraries than libcrypto: the other side is the peer's own way to do the same.
// Each registers the pairs of one peer; the runtime is started.
#pragma once

namespace peers
{

void registerMbedTls();
void registerWolfSsl();
void registerNettle();
void registerBoost();

}
