#pragma once

// Entities and their decoder, transfer encodings, encoded words; composition, attachments, HTML mail, .eml
// files and the tags of HTML.

#include "tessaly/compose/attach_file_manager.h"
#include "tessaly/compose/eml_file_decoder.h"
#include "tessaly/compose/eml_file_encoder.h"
#include "tessaly/compose/html_mail_encoder.h"
#include "tessaly/compose/mail_data_structure.h"
#include "tessaly/compose/mime_analyze.h"
#include "tessaly/html/html_element.h"
#include "tessaly/html/html_scan.h"
#include "tessaly/mime/encoded_words.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/mime/mime_format_struct.h"
#include "tessaly/mime/transfer_encodings.h"
