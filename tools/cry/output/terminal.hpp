// What a terminal may be shown.
#pragma once

namespace tool
{

// Whether a stream is a terminal that may get colours and movements of its cursor: the user may
// refuse them (NO_COLOR), and the terminal may not know them (TERM).
bool takesEscapes( int stream );

}
