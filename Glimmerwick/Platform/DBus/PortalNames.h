#pragma once

/// What the desktop portal and its objects are called on the session bus.
namespace glimmerwick::portalName {

inline constexpr auto service = "org.freedesktop.portal.Desktop";
inline constexpr auto object = "/org/freedesktop/portal/desktop";
inline constexpr auto requestInterface = "org.freedesktop.portal.Request";
inline constexpr auto sessionInterface = "org.freedesktop.portal.Session";
inline constexpr auto registryInterface = "org.freedesktop.host.portal.Registry";

} // namespace glimmerwick::portalName
