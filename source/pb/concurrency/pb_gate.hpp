// The gate that the shut-down of the modules closes (pb___GateEnter).
#pragma once

namespace pb::gate
{

void open();

// Returns when nobody is inside.
void close();

}
