#pragma once

// code_text: where a search reads the text of each file of an index, how text is cut into chunks
// and read back, and which large data files stay on disk. The one header that a user of the module
// includes.

#include "storage/code_text/chunk_rows.hpp"
#include "storage/code_text/chunking.hpp"
#include "storage/code_text/context.hpp"
#include "storage/code_text/large_data_upgrade.hpp"
#include "storage/code_text/line_matches.hpp"
#include "storage/code_text/text_source.hpp"
