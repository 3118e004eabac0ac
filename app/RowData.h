// Which reader a row of the reader list stands for.
#pragma once

/// The item data of a row: the position in the list of PC/SC readers plus PcscRowData, or the position in the list of
/// CT-API readers, of which there are fewer than PcscRowData.
constexpr long PcscRowData = 5000;
