#pragma once

#include "Platform/PackageInstaller.h"
#include "Platform/SignatureVerifier.h"
#include "Platform/UpdateFeedReader.h"
#include "Platform/UpdatePresenter.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// Signatures that anybody can make: a checksum of the message in the shape of 64 bytes in base64.
class FakeSignatureVerifier : public SignatureVerifier {
public:
    static std::string sign(std::string_view message)
    {
        constexpr std::string_view digits = "ABCDEFGHIJKLMNOP";
        std::uint64_t checksum = 14695981039346656037U;
        for (const char byte : message) {
            checksum = (checksum ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        }
        std::string signature;
        while (signature.size() < 86) {
            signature += digits[checksum >> (signature.size() % 16 * 4) & 15U];
        }
        return signature + "==";
    }

    bool hasKey() const override { return isKeyValid; }
    bool isSigned(std::string_view message, std::string_view signature) const override
    {
        return isKeyValid && signature == sign(message);
    }

    bool isKeyValid = true;
};

/// Answers with what a test has set, whatever the text.
class FakeUpdateFeedReader : public UpdateFeedReader {
public:
    Result<UpdateFeed, std::string> read(std::string_view xml, const std::string& feedAddress) override
    {
        texts.emplace_back(xml);
        addresses.push_back(feedAddress);
        if (error) {
            return Failure{*error};
        }
        return feed;
    }

    UpdateFeed feed;
    std::optional<std::string> error;
    std::vector<std::string> texts;
    std::vector<std::string> addresses;
};

/// One line for each call; what the user can press belongs to the contents shown last.
class FakeUpdatePresenter : public UpdatePresenter {
public:
    void showChecking(std::function<void()> cancelled) override
    {
        show("checking");
        cancel = std::move(cancelled);
    }
    void showUpToDate(const std::string& installedVersion) override
    {
        show("up to date " + installedVersion);
    }
    void showOffer(const UpdateOffer& shown, Attention itsAttention,
                   std::function<void(UpdateAnswer)> answered) override
    {
        show("offer " + shown.version);
        offer = shown;
        attention = itsAttention;
        answer = std::move(answered);
    }
    void showDownloading(const std::string& version, std::function<void()> cancelled) override
    {
        show("downloading " + version);
        cancel = std::move(cancelled);
    }
    void setProgress(std::uint64_t received, std::uint64_t total) override
    {
        calls.push_back("progress " + std::to_string(received) + " of " + std::to_string(total));
    }
    void showHandedOver(const std::string& version) override { show("handed over " + version); }
    void showFailure(const std::string& problem) override { show("failure: " + problem); }
    void showMessage(const std::string& text) override { show("message: " + text); }
    void raise() override { calls.emplace_back("raise"); }
    void close() override { show("close"); }

    std::vector<std::string> calls;
    std::optional<UpdateOffer> offer;
    std::optional<Attention> attention;
    /// Null where there is nothing of the kind to press.
    std::function<void()> cancel;
    std::function<void(UpdateAnswer)> answer;

private:
    void show(std::string call)
    {
        calls.push_back(std::move(call));
        cancel = nullptr;
        answer = nullptr;
    }
};

class FakePackageInstaller : public PackageInstaller {
public:
    Result<Success, std::string> handOver(const std::string& fileName, std::string_view package) override
    {
        handedOver.emplace_back(fileName, package);
        if (error) {
            return Failure{*error};
        }
        return Success{};
    }

    /// Name and bytes.
    std::vector<std::pair<std::string, std::string>> handedOver;
    std::optional<std::string> error;
};

} // namespace glimmerwick::fakes
