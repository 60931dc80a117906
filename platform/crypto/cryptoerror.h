#pragma once

/// The cryptographic library's text for one of its result codes; never null. Any thread.
const char* CryptoErrorText(int code);
