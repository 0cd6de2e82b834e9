// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// KxAngle: an angle, held in degrees, in degrees, radians and gon. A plain value; 400 gon are a full turn, nothing is
// brought back into one.
#pragma once

#include "hbtools/base/syTypes.h"

#include <concepts>

namespace KxN {

class KX_API KxAngle {
public:
    KxAngle() = default;
    KxAngle(short degrees) : m_degrees(degrees) {}
    /// Not offered, since it would cut the number: SetDeg takes it as it is.
    template <std::floating_point NUMBER>
    KxAngle(NUMBER) = delete;
    KxAngle(KxAngle const&) = default;
    KxAngle& operator=(KxAngle const&) = default;
    virtual ~KxAngle();

    void SetDeg(double degrees) { m_degrees = degrees; }
    double GetDeg() const { return m_degrees; }
    double GetDegMin() const { return m_degrees * 60; }    ///< In minutes of arc.
    double GetDegSec() const { return m_degrees * 3600; }  ///< In seconds of arc.
    void SetRad(double radians) { m_degrees = radians * 57.29577951308232; }
    double GetRad() const { return m_degrees * 0.017453292519943295; }
    void SetGra(double gon) { m_degrees = gon * 0.9; }
    double GetGra() const { return m_degrees * 1.1111111111111112; }
    double GetGraMin() const { return GetGra() * 100; }    ///< In hundredths of a gon.
    double GetGraSec() const { return GetGra() * 10000; }  ///< In hundredths of those.

private:
    double m_degrees = 0;
};

}  // namespace KxN
