// The argument list of main, from which each layer takes out its options.
// Whatever is taken is gone from the list, so the application's own parser
// sees only what the library left. The array belongs to the caller and is
// changed in place; after a removal only argc tells where the list ends (the
// old terminator is not moved). Threads: none; used during start-up.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEOPTARGUMENTS_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEOPTARGUMENTS_H

class FendrakeOptArguments {
public:
    FendrakeOptArguments(int iArgc, char** iArgv) : argc(iArgc), argv(iArgv) {}

    // Take iCount entries starting at the first match of iName (never argv[0]):
    // on its first iNameLength characters here, whole in iStealOption. False if
    // there is none or too few entries follow it.
    bool iStealOptionAssing(const char* iName, unsigned iNameLength, unsigned iCount, char** oOut);
    bool iStealOption(const char* iName, unsigned iCount, char** oOut);

    // "--name=value" when iName ends in '=', else "-n value"; the result
    // points into the caller's strings.
    const char* GetOptionString(const char* iName, const char* iDefaultValue);
    // As above, converted with strtol in base 10 without a check.
    int GetOptionInt(const char* iName, int iDefaultValue);
    // Always the prefix form with one entry.
    const char* GetOptionStringStartMatch(const char* iName, const char* iDefaultValue);
    void Print();
    // Takes out and returns argv[1], or iDefaultValue if there is none.
    const char* Shift(const char* iDefaultValue);
    // GLib's program name, else argv[0] behind its last '/'; never a copy.
    const char* GetProgramName();

    int argc;
    char** argv;
};

#endif
