#include "x509/cry_x509_validator.cpp"

#include "simulation/probes.hpp"

CRY___X509_VALIDATOR_IMP *probes::impOf( CRY_X509_VALIDATOR *validator ) { return validator->imp; }
