// The memory of the whole process.
#pragma once

namespace tool
{

// From here on, all memory is overwritten before it is freed: libcrypto's, the libraries' and, with
// the operators in memory.cpp, that of C++. Without memory the process ends with exitInputError and
// says so, so that no function takes that for bad input. To be called before anything else.
void cleanseMemory();

// The message of the end without memory is to be JSON, too.
void reportAsJson();

// No other process may read this one's memory, and no core file has it.
void keepMemorySecret();

}
