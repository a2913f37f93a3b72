// Where the token for a gateway comes from.
#pragma once

#include <string>

// The first line of `file`, or without a file $VRDX_TOKEN; "" when there is neither: some gateways let
// anybody look. False with *problem in one line when there is something and it is no token.
bool find_gateway_token(const std::string& file, std::string* token, std::string* problem);
