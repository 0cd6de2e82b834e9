// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "syWakeDescriptor.h"

#include "base/posix/syDescriptor.h"

#include "hbtools/base/syObject.h"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace KxN::detail {

WakeDescriptor::WakeDescriptor()
    : m_all(AboveStandard(::epoll_create1(EPOLL_CLOEXEC))),
      m_event(AboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
      m_timer(AboveStandard(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))) {
    bool isWhole = m_all >= 0 && m_event >= 0 && m_timer >= 0;
    for (int const part : {m_event, m_timer}) {
        epoll_event event{};
        event.events = EPOLLIN;
        isWhole = isWhole && ::epoll_ctl(m_all, EPOLL_CTL_ADD, part, &event) == 0;
    }
    if (isWhole) return;
    long const error = errno;
    Close();
    throw new CFileException(CFileException::CauseOfOsError(error), error);
}

WakeDescriptor::~WakeDescriptor() {
    Close();
}

void WakeDescriptor::Close() const {
    for (int const part : {m_all, m_event, m_timer})
        if (part >= 0) ::close(part);
}

void WakeDescriptor::Signal() const {
    [[maybe_unused]] int const result = ::eventfd_write(m_event, 1);
}

void WakeDescriptor::Rest(Deadline next) const {
    eventfd_t count = 0;
    [[maybe_unused]] int const result = ::eventfd_read(m_event, &count);
    itimerspec time{};
    if (next) {
        auto const since = std::chrono::duration_cast<std::chrono::nanoseconds>(next->time_since_epoch()).count();
        time.it_value.tv_sec = since / 1000000000;
        time.it_value.tv_nsec = since % 1000000000;
    }
    ::timerfd_settime(m_timer, TFD_TIMER_ABSTIME, &time, nullptr);  // also takes back that it was readable
}

}  // namespace KxN::detail
