// The fixed identifiers of the server, read by the IDL (for the type library) and by
// the registration code (as registry text). Never change one once a host has seen it.
#pragma once

#define TAVLIN_LIBID    3a5274e4-d8cb-4ef5-b70d-20b5c3ee4c45
#define TAVLIN_IID      5f9698f4-d2a2-4b04-9fe7-0d83d82ed5dd
#define TAVLIN_CLSID    82cb8739-0500-49e5-9474-2eec45ff1e14
#define TAVLIN_ENUMID   cbabad4b-08d6-44cb-90e8-281fecc98f5b

#define TAVLIN_LIB_MAJOR 1
#define TAVLIN_LIB_MINOR 0

#define TAVLIN_PROGID           "Tavlin.clsTavlin"
#define TAVLIN_PROGID_VERSIONED "Tavlin.clsTavlin.1"
