#pragma once

namespace LumTests {

/// A function of another library that the module calls, as the loader has bound it.
class ModuleImport {
public:
    /// Throws if the module calls no function of this name.
    explicit ModuleImport(const char* function);

    /// Sends the module's calls there. Returns where they went before.
    void* redirect(void* target) const;

private:
    void** slot;
};

} // namespace LumTests
