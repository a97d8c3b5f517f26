#include "x509/cry_x509_stack_imp.cpp"

#include "simulation/probes.hpp"

probes::StackState probes::stateOf( CRY___X509_STACK_IMP *imp ) PB_UNCHECKED
{
    return { imp->region, pbProcessHalted( imp->isProcess ) != PB_FALSE, imp->extOptions, imp->cnfOptions, imp->cnfIdentity,
        imp->cnfTrustedCertificates, imp->cnfTrustedSans, imp->cnfOpensslX509Store, imp->extUpdateSignal, imp->cnfIdentityChangedSignal,
        imp->cnfTrustChangedSignal, imp->intOptions, imp->intGeneratedIdentity, imp->intGenerateTimer };
}
