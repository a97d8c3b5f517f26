// Watches all stacks and sessions of a scenario. At the end of each exclusive section of a stack's
// region it looks at what the stack has published, and at the marks of its sessions.
#pragma once

#include <cry/cry_x509_session.h>

namespace stackWatch
{

// What a session pins belongs to one commit.
void checkSession( CRY_X509_SESSION *session );

// Nothing runs: every stack has published what its options, the vault and the roots say.
void checkAtRest();

// Some stacks are held until here, so that nothing that they do after their halt is missed.
void releaseHalted();

// The end of a scenario: nothing is left.
void end();

}
