#include "engine/pipe/PipeSecurity.h"

#include <aclapi.h>
#include <sddl.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

/** What the system knows of this process's user: a TOKEN_USER; empty when it cannot be told. */
std::vector<std::byte> currentUser()
{
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0)
        return {};
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<std::byte> user(size);
    if (size == 0 || GetTokenInformation(token, TokenUser, user.data(), size, &size) == 0)
        user.clear();
    CloseHandle(token);
    return user;
}

PSID sidOf(std::vector<std::byte> &user)
{
    return reinterpret_cast<TOKEN_USER *>(user.data())->User.Sid;
}

std::wstring textOf(PSID sid)
{
    wchar_t *text = nullptr;
    if (ConvertSidToStringSidW(sid, &text) == 0)
        return {};
    std::wstring result = text;
    LocalFree(text);
    return result;
}

} // namespace

PipeSecurity::PipeSecurity()
{
    std::vector<std::byte> user = currentUser();
    const std::wstring sid = user.empty() ? std::wstring() : textOf(sidOf(user));
    if (sid.empty())
        return;
    // Owned by the user, also in a process of an administrator; the one entry, which nothing is
    // inherited beside, lets the user do all.
    const std::wstring text = L"O:" + sid + L"D:P(A;;GA;;;" + sid + L")";
    ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    securityAttributes.nLength = sizeof securityAttributes;
    securityAttributes.lpSecurityDescriptor = descriptor;
    securityAttributes.bInheritHandle = FALSE;
}

PipeSecurity::~PipeSecurity()
{
    LocalFree(descriptor);
}

bool PipeSecurity::isOwnUsers(HANDLE pipe)
{
    std::vector<std::byte> user = currentUser();
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR found = nullptr;
    if (user.empty() || GetSecurityInfo(pipe, SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                        nullptr, nullptr, nullptr, &found) != ERROR_SUCCESS)
        return false;
    const bool isOwn = owner != nullptr && EqualSid(owner, sidOf(user)) != 0;
    LocalFree(found);
    return isOwn;
}
