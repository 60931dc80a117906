#pragma once

#include <span>
#include <string_view>

/// The report's page with the plotting library in it, as the build made it from `report/`: what stands in
/// front of a run's own data and what follows them, in pieces.
namespace ReportPage {

std::span<const std::string_view> Head();
std::span<const std::string_view> Tail();

}  // namespace ReportPage
