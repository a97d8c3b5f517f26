// Shows scenarios what only the sources of the objects know. Each probe is a file that includes one
// of these sources and replaces its object in the program.
#pragma once

#include <cry/internal/cry_x509_stack_imp.h>
#include <cry/internal/cry_x509_validator_imp.h>
#include <pb/pb_locks.h>
#include <pb/pb_timer.h>

namespace probes
{

// What a stack has published, and what its process keeps. All is lent, and read without the region:
// the caller holds it.
struct StackState
{
    PB_REGION              *region;
    bool                    halted;
    CRY_X509_STACK_OPTIONS *wanted; // the options that were set last
    CRY_X509_STACK_OPTIONS *options;
    CRY_X509_IDENTITY      *identity;
    CRY_X509_CERTIFICATES  *trusted;
    CRY_X509_SANS          *sans;
    X509_STORE             *store;
    PB_SIGNAL              *updateSignal, *identitySignal, *trustSignal;
    CRY_X509_STACK_OPTIONS *usedOptions;
    CRY_X509_IDENTITY      *generated;
    PB_TIMER               *timer;

    bool operator==( const StackState & ) const = default;
};

StackState stateOf( CRY___X509_STACK_IMP *imp );

CRY___X509_VALIDATOR_IMP *impOf( CRY_X509_VALIDATOR *validator );

// How many subscribe to the next change.
PB_INT vaultSubscriptions();
PB_INT rootsSubscriptions();

}
