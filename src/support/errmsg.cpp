#include "support/errmsg.h"

#include "support/messages.h"

CErrMsg::CErrMsg()
{
    SetErrMsg(1, "Parse error");
    SetErrMsg(2, "Error - Expecting a string");
    SetErrMsg(3, "Error - Expecting a alphnumeric");
    SetErrMsg(4, "Error - The specified value is not an integer or it is out of range");
    SetErrMsg(5, "Error - Expecting '='");
    SetErrMsg(6, "Error - Two or more loci have the same position");
    SetErrMsg(7, "Error - Missing ';' before this statement");
    SetErrMsg(8, "Error - Missing ';' and redefinition");
    SetErrMsg(9, "Error - Mismatched number of chromosomes");
    SetErrMsg(10, "Error - Incompatible!");
    SetErrMsg(11, "Error - Too large value");
    SetErrMsg(12, "Error - The first historical generation number must be zero");
    SetErrMsg(13, "Error - Either all QTL variances or none of them must be sampled randomly with the same distribution");
    SetErrMsg(14, "Error - Incorrect value");
    SetErrMsg(15, "Error - Variable not found");
    SetErrMsg(16, "Error - Not a command");
    SetErrMsg(17, "Error - Statement is not valid or it is used out of proper order");
    SetErrMsg(18, "Error - Duplicate variables");
    SetErrMsg(19, "Error - Two or more variables have the same column number");
    SetErrMsg(20, "Error - One or more variables are not specified");
    SetErrMsg(21, "Error - The variable is already in use");
    SetErrMsg(22, "Error - Variable %s is not used");
    SetErrMsg(23, "Error - The specified value is not numeric or it is out of range");
    SetErrMsg(24, "Error - Statement is not valid or it is used out of proper order");
    SetErrMsg(25, "Error - Illegal statement");
    SetErrMsg(26, "Error - Statement is used out of proper order");
    SetErrMsg(27, "Error - Statement is used out of proper order\nThis statement should come after st and ct");
    SetErrMsg(28, "Error - Statement is used out of proper order\nThis statement should come after nt");
    SetErrMsg(29, "Error - Expecting a logical value (true or false)");
    SetErrMsg(30, "Error - No such a population");
    SetErrMsg(31, "Error - Duplicate population name");
    SetErrMsg(32, "Error - Incorrect generation number");
    SetErrMsg(33, "Error - Incorrect generation number in historic generations");
    SetErrMsg(34, "Error - Incorrect generation number in output options");
    SetErrMsg(35, "Error - merge_rep and /binary cannot be used together");
    SetErrMsg(36, "Error - File name specified is a reserved file name");
    SetErrMsg(37, "Error - Path is too big");
    SetErrMsg(38, "Error - Out of range value");
    SetErrMsg(39, "Error - Generation number is out of range");
    SetErrMsg(40, "Error - Generation number is not placed in order");
    SetErrMsg(41, "Error - Sum of the probabilities of the litter sizes is larger than 1");
    SetErrMsg(42, "Error - The allele number space contains duplicated values");
    SetErrMsg(43, "Error - Shape parameters of the gamma distributions must be the same for all chromosomes");
    SetErrMsg(44, "Error - Percentage of QTL variances must sum up to one");
    SetErrMsg(45, "Error - EBV estimation method is not specified");
    SetErrMsg(47, "Error - \"hp\" is a reserved population name. Use another name");
    SetErrMsg(48, "Error - Variance explained by QTL is >0 but no QTL is defined");
    SetErrMsg(49, "Error - Phenotypic variance cannot be very small");
    SetErrMsg(50, "Error - true_av option cannot be used with approx method");
    SetErrMsg(51, "Error - Too many input values");
    SetErrMsg(52, "Error - Number of alleles cannot be larger than");
    SetErrMsg(53, "Error - QTL heritability cannot be larger than overal heritability");
    SetErrMsg(54, "Error - Breeding values cannot be estimated for historical population. Choose another selection method");
    SetErrMsg(55, "Error - To choose individuals from the historical population, generation number cannot be specified. Individuals are always chosen from the last historical generation. See the manual for correct use of this command");
    SetErrMsg(56, "Error - Variance due to QTL cannot be generated in the last historical generation. One of the following might be the cause:\n             1) no QTL is segregating\n             2) all individuals have the same QTL genotype");
    SetErrMsg(57, "Error - Variance due to at least one of QTL cannot be generated in the last historical generation. One of the following might be the cause:\n             1) the QTL is not segregating\n             2) all individuals have the same QTL genotype");
    SetErrMsg(58, "Error - Number of populations, from which founders should be chosen, must not exceed");
    SetErrMsg(59, "Error - Title is too long. It cannot be longer than 1000 characters");
    SetErrMsg(60, "Error - Population name cannot be longer than 20 characters");
    SetErrMsg(61, "Error - Illegal character(s) found in population name.\nLegal characters: \" -.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz\"");
    SetErrMsg(62, "Error - Marker or QTL position cannot be zero");
    SetErrMsg(63, "Error - Pre-defined positions are not sorted or there are duplicate positions");
    SetErrMsg(64, "Error - More positions than the number of loci are defined");
    SetErrMsg(65, "Invalid file name");
    SetErrMsg(66, "Error - Incorrect chromosome number in output options");
    SetErrMsg(67, "Error - When same allele frequencies are set for all loci the number of alleles must also be the same for all loci.");
}

void CErrMsg::SetErrMsg(short number, const char* text)
{
    entries.push_back({number, text});
}

const char* CErrMsg::GetErrMsg(short number) const
{
    for (const Entry& e : entries)
        if (e.number == number) return e.text.c_str();
    Abort("Error message is not fonud!\n");
}
