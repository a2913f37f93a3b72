// Small text helpers that the driver and its tools share.
#pragma once

// Removes the line end ("\n", "\r\n" or a lone trailing "\r") from `line`, in place. Gives `line` back.
char* chomp(char* line);

// Splits `text` in place at its first "=".
//  *name:  the text before it without blanks (space, tab) around it; null when nothing is left of it
//  *value: the text after it without blanks around it, possibly empty; null when there is no "="
// Both point into `text`. Without an "=" the whole text is the name.
void divide_name_equ_value_pair(char* text, const char** name, const char** value);
