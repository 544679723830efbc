// expect: use of deleted function
// The text "false" would turn into the flag true: a boolean setter refuses
// text at compile time.
#include "uXoXMLSchema.h"

void Use(xo::TXoXMLSchemaElement* AWrapper) { AWrapper->SetBooleanValue(1, u"false"); }
