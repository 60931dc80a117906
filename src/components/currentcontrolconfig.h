#pragma once
// The typed accessor to the settings; see the class comment.
class CCurrentControlConfig;
