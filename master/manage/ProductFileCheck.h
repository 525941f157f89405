// Checking product files without a Master: what it would refuse, and what was probably not meant.
#pragma once

#include <string>
#include <vector>

#include "brenic/Types.h"

namespace brenic::master {

/// Something about one of the files.
struct ProductRemark {
  Path m_File;
  bool m_IsError = true; // else a warning
  size_t m_Line = 0;     // from 1; 0 where no place is known
  size_t m_Column = 0;   // in characters, from 1
  String m_Text;
};

/// In the order of the files. Errors are what a Master refuses that does not have the product yet; two of the
/// files with the same identifier, or one name, are one, because a farm has only one of them.
std::vector<ProductRemark> CheckProductFiles(const std::vector<Path>& files);

/// For people, one line.
std::string RemarkText(const ProductRemark& remark);
/// One JSON object, on one line.
std::string RemarkJson(const ProductRemark& remark);

} // namespace brenic::master
