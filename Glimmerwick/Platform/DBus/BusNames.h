#pragma once

/// What this program is called on the session bus. Others rely on these names.
namespace glimmerwick::busName {

inline constexpr auto service = "com.glimmerwick.Glimmerwick";
/// By the rule of org.freedesktop.Application: the name with slashes for points.
inline constexpr auto object = "/com/glimmerwick/Glimmerwick";
inline constexpr auto pickerInterface = "com.glimmerwick.Picker1";
inline constexpr auto handleArguments = "HandleArguments";

} // namespace glimmerwick::busName
