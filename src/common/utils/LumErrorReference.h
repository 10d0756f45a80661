#pragma once

#include "common/utils/ILumError.h"

namespace LumUtils {

/// An error that says what another one says, for failures that must be reported when there is no memory to describe
/// them: it takes a few bytes, and they can be taken beforehand.
///
///     static const auto& outOfMemory = *new LumError(domain, code, userInfo);
///     std::unique_ptr<ILumError> spare = std::make_unique<LumErrorReference>(outOfMemory);
///
/// The other error is not owned and must outlive this one. A clone is a copy of the other error and needs neither.
class LumErrorReference : public ILumError {
public:
    explicit LumErrorReference(const ILumError& referredError) : referred(referredError) {}

    const std::string& getDomain() const override { return referred.getDomain(); }
    int getCode() const override { return referred.getCode(); }
    const std::map<std::string, std::any>& getUserInfo() const override { return referred.getUserInfo(); }
    std::string getDescription() const override { return referred.getDescription(); }
    std::string toJson() const override { return referred.toJson(); }
    std::unique_ptr<ILumError> clone() const override { return referred.clone(); }

private:
    const ILumError& referred;
};

} // namespace LumUtils
