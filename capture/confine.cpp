// SPDX-License-Identifier: Apache-2.0
#include "capture/confine.h"

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#ifdef BYOD_SECCOMP
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <memory>
#endif

namespace byod::capture {
namespace {

[[noreturn]] void Fail(const std::string& step, int error = errno) {
  throw ConfineError("cannot " + step + ": " + std::strerror(error));
}

void Become(const Account& account) {
  if (setgroups(account.groups.size(), account.groups.data()) != 0) Fail("change the groups");
  if (setresgid(account.group, account.group, account.group) != 0) Fail("change the group");
  if (setresuid(account.user, account.user, account.user) != 0) Fail("change the user");
}

/// What a program that is executed could regain. Without CAP_SETPCAP they stay, and the ban on new
/// privileges alone has to do.
void EmptyBoundingSet() {
  for (unsigned long capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0;
       ++capability) {
    if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0 && errno != EPERM) {
      Fail("drop capabilities");
    }
  }
}

/// The ambient set follows: a capability is in it only while it is permitted and inheritable.
void DropCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capset, &header, none) != 0) Fail("drop capabilities");
}

void ForbidNewPrivileges() {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) Fail("forbid new privileges");
  // Nor may other processes of the same user read its memory.
  if (prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) Fail("forbid to trace the process");
}

#ifdef BYOD_SECCOMP

constexpr int kAllowed[] = {
    // what is open
    SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(close),
    SCMP_SYS(fstat), SCMP_SYS(fstat64), SCMP_SYS(lseek), SCMP_SYS(_llseek), SCMP_SYS(fcntl),
    SCMP_SYS(fcntl64), SCMP_SYS(poll), SCMP_SYS(ppoll), SCMP_SYS(ppoll_time64), SCMP_SYS(select),
    SCMP_SYS(_newselect), SCMP_SYS(pselect6), SCMP_SYS(pselect6_time64), SCMP_SYS(epoll_wait),
    SCMP_SYS(epoll_pwait), SCMP_SYS(epoll_ctl),
    // sockets
    SCMP_SYS(connect), SCMP_SYS(send), SCMP_SYS(sendto), SCMP_SYS(sendmsg), SCMP_SYS(recv),
    SCMP_SYS(recvfrom), SCMP_SYS(recvmsg), SCMP_SYS(shutdown), SCMP_SYS(getsockopt),
    SCMP_SYS(getsockname), SCMP_SYS(getpeername),
    // memory
    SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise),
    // time
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_gettime64), SCMP_SYS(gettimeofday), SCMP_SYS(time),
    SCMP_SYS(nanosleep), SCMP_SYS(clock_nanosleep), SCMP_SYS(clock_nanosleep_time64),
    SCMP_SYS(setitimer), SCMP_SYS(restart_syscall),
    // signals, locks, and the end
    SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigreturn),
    SCMP_SYS(sigaltstack), SCMP_SYS(futex), SCMP_SYS(futex_time64), SCMP_SYS(getpid),
    SCMP_SYS(gettid), SCMP_SYS(tgkill), SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(getrandom),
    SCMP_SYS(getuid), SCMP_SYS(geteuid), SCMP_SYS(getgid), SCMP_SYS(getegid)};

struct ReleaseFilter {
  void operator()(void* filter) const { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, ReleaseFilter>;

void Allow(const Filter& filter, int call) {
  const int status = seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0);
  if (status != 0) Fail("filter system calls", -status);
}

/// Allows a call where one argument is as the comparison says.
void AllowIf(const Filter& filter, int call, const scmp_arg_cmp& condition) {
  const int status = seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call, 1, &condition);
  if (status != 0) Fail("filter system calls", -status);
}

scmp_arg_cmp Equals(unsigned argument, uint64_t value) {
  return {argument, SCMP_CMP_EQ, value, 0};
}

scmp_arg_cmp Lacks(unsigned argument, uint64_t bits) {
  return {argument, SCMP_CMP_MASKED_EQ, bits, 0};
}

scmp_arg_cmp Has(unsigned argument, uint64_t bits) {
  return {argument, SCMP_CMP_MASKED_EQ, bits, bits};
}

void FilterSystemCalls() {
  constexpr uint64_t kEmptyPath = 0x1000;  // AT_EMPTY_PATH: C libraries look at open files this way
  const Filter filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
  if (!filter) Fail("filter system calls", ENOMEM);
  for (const int call : kAllowed)
    Allow(filter, call);
  AllowIf(filter, SCMP_SYS(socket), Equals(0, AF_UNIX));
  AllowIf(filter, SCMP_SYS(setsockopt), Equals(1, SOL_SOCKET));
  AllowIf(filter, SCMP_SYS(mmap), Lacks(2, PROT_EXEC));
  AllowIf(filter, SCMP_SYS(mmap2), Lacks(2, PROT_EXEC));
  AllowIf(filter, SCMP_SYS(mprotect), Lacks(2, PROT_EXEC));
  AllowIf(filter, SCMP_SYS(newfstatat), Has(3, kEmptyPath));
  AllowIf(filter, SCMP_SYS(fstatat64), Has(3, kEmptyPath));
  AllowIf(filter, SCMP_SYS(statx), Has(2, kEmptyPath));
  AllowIf(filter, SCMP_SYS(ioctl), Equals(1, SIOCGIFFLAGS));  // libpcap asks it why packets end
  AllowIf(filter, SCMP_SYS(ioctl), Equals(1, TCGETS));        // whether an output is a terminal
  AllowIf(filter, SCMP_SYS(ioctl), Equals(1, TIOCGWINSZ));    // and how wide it is
  const int status = seccomp_load(filter.get());
  if (status != 0) Fail("filter system calls", -status);
}

#endif  // BYOD_SECCOMP

}  // namespace

Account FindAccount(const std::string& name) {
  errno = 0;
  const passwd* const found = getpwnam(name.c_str());
  if (found == nullptr) throw ConfineError("no such user: \"" + name + "\"");
  if (found->pw_uid == 0) throw ConfineError("the user \"" + name + "\" is root");
  Account account{found->pw_uid, found->pw_gid, std::vector<gid_t>(16)};
  int count = static_cast<int>(account.groups.size());
  while (getgrouplist(name.c_str(), account.group, account.groups.data(), &count) < 0) {
    // count is now what is needed.
    account.groups.resize(static_cast<size_t>(count));
  }
  account.groups.resize(static_cast<size_t>(count));
  return account;
}

bool HasSystemCallFilter() {
#ifdef BYOD_SECCOMP
  return true;
#else
  return false;
#endif
}

void Confine(const Account* account) {
  EmptyBoundingSet();
  if (account != nullptr && geteuid() == 0) Become(*account);
  DropCapabilities();
  ForbidNewPrivileges();
#ifdef BYOD_SECCOMP
  FilterSystemCalls();
#endif
}

}  // namespace byod::capture
