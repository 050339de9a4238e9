// Directory roles: a default per role from the application, optionally
// overridden from the key file. (Setting and resolving the values joins with
// the configuration-file layer.)
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEPATHCONFIGURATION_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEPATHCONFIGURATION_H

enum FendrakePathConfigTypes {
#define FENDRAKE_PATH_ROW(name) name,
#include "Basic/FendrakeStdLib/FendrakePathConfiguration.def"
#undef FENDRAKE_PATH_ROW
    FendrakePathConfigTypes_NUMBER_OF
};

extern "C" {
// Supplied by the application; an entry may be null.
extern const char* fendrake_path_configuration[FendrakePathConfigTypes_NUMBER_OF];
}

#endif
