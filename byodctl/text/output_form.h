// SPDX-License-Identifier: Apache-2.0
// The forms in which commands write what they show.
#ifndef BYODCTL_TEXT_OUTPUT_FORM_H
#define BYODCTL_TEXT_OUTPUT_FORM_H

namespace byod::ctl {

enum class OutputForm {
  kTable,  ///< aligned columns for people, written at the end
  kTsv,  ///< a header, then a line for each item. Nothing is quoted, so a tab or line end inside a
         ///< field becomes a blank, and control characters are replaced
  kJson  ///< an object a line, whose keys are always the same
};

inline OutputForm FormOf(bool json) {
  return json ? OutputForm::kJson : OutputForm::kTable;
}

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_OUTPUT_FORM_H
