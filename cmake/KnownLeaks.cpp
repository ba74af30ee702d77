// Tells the leak checker what the library loses on purpose. Linked into every program of a build with
// sanitizers.

extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
    // Deliberate: restoreSystem gives nothing back after a failure of the service, and after a success
    // not the instance that carried the number.
    // Of two products with one name the catalogue keeps the second one's object alone.
    return "leak:Tallowmere::restoreSystem\n"
           "leak:Tallowmere::InstalledProgramsImpl::AddProgram\n";
}
