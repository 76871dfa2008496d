// The access granted to the named semaphores that processes of different users share.
#ifndef SCANTK_DIAG_SHARED_SECURITY_H_
#define SCANTK_DIAG_SHARED_SECURITY_H_

namespace scantk {

// Full access for local system, administrators, interactive and authenticated users, remote desktop
// users, power users, users and local service, inherited by objects and containers.
inline constexpr char kSharedSecurity[] =
    "D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)(A;OICI;GA;;;IU)(A;OICI;GA;;;AU)(A;OICI;GA;;;RD)"
    "(A;OICI;GA;;;PU)(A;OICI;GA;;;BU)(A;OICI;GA;;;LS)";

}  // namespace scantk

#endif  // SCANTK_DIAG_SHARED_SECURITY_H_
