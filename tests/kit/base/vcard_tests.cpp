// Contacts of all versions of the format.
#include "kit/base/vcard.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velq::kit {
namespace {

std::vector<Contact> contactsIn(const std::string &text)
{
    std::vector<Contact> contacts;
    readVcards(text, [&contacts](const Contact &contact) { contacts.push_back(contact); });
    return contacts;
}

std::vector<std::string> numbersOf(const Contact &contact)
{
    std::vector<std::string> numbers;
    for (const Contact::Telephone &telephone : contact.telephones) {
        numbers.push_back(telephone.number);
    }
    return numbers;
}

using Texts = std::vector<std::string>;

TEST(vcard, is_told_by_its_beginning)
{
    for (const char *text : {"BEGIN:VCARD\nEND:VCARD\n", "\r\n begin:vcard\r\n",
                             "\xEF\xBB\xBF"
                             "BEGIN:VCARD\n"}) {
        EXPECT_TRUE(isVcard(text)) << text;
    }
    for (const char *text : {"", "number\n1\n", "BEGIN:VCALENDAR\n", "BEGIN"}) {
        EXPECT_FALSE(isVcard(text)) << text;
    }
}

TEST(vcard, gives_names_and_telephones)
{
    const auto contacts = contactsIn("BEGIN:VCARD\r\nVERSION:3.0\r\nN:Wang;Fang;;;\r\nFN:Fang Wang\r\n"
                                     "TEL;TYPE=CELL:+86 138 1234 5678\r\nitem1.TEL;TYPE=\"home:x\":010-1234\r\n"
                                     "item1.X-ABLabel:Home\r\nEND:VCARD\r\n"
                                     "BEGIN:VCARD\r\nFN:None\r\nEND:VCARD\r\n");
    ASSERT_EQ(contacts.size(), 2U);
    EXPECT_EQ(contacts[0].name, "Fang Wang");
    EXPECT_EQ(numbersOf(contacts[0]), (Texts{"+86 138 1234 5678", "010-1234"}));
    EXPECT_EQ(contacts[0].telephones[1].line, 6U);
    EXPECT_EQ(contacts[1].name, "None");
    EXPECT_TRUE(contacts[1].telephones.empty());
}

TEST(vcard, name_is_put_together_where_there_is_no_whole_one)
{
    EXPECT_EQ(contactsIn("BEGIN:VCARD\nN:Wang;Fang;;Dr.;\nTEL:1\nEND:VCARD\n").at(0).name, "Fang Wang");
    EXPECT_EQ(contactsIn("BEGIN:VCARD\nN:Shop\nTEL:1\nEND:VCARD\n").at(0).name, "Shop");
    EXPECT_EQ(contactsIn("BEGIN:VCARD\nTEL:1\nEND:VCARD\n").at(0).name, "");
}

TEST(vcard, folded_encoded_and_escaped_values_are_whole)
{
    const auto contacts =
        contactsIn("BEGIN:VCARD\nFN:A long\n  name\\, with\\;marks\nTEL;VALUE=uri:tel:+44-7668;ext=5\n"
                   "END:VCARD\nBEGIN:VCARD\nVERSION:2.1\n"
                   "FN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:=E7=8E=\n=8B =3D1\nTEL;CELL:13812345678\nEND:VCARD");
    ASSERT_EQ(contacts.size(), 2U);
    EXPECT_EQ(contacts[0].name, "A long name, with;marks");
    EXPECT_EQ(numbersOf(contacts[0]), Texts{"+44-7668"});
    EXPECT_EQ(contacts[1].name, "\u738b =1");
    EXPECT_EQ(numbersOf(contacts[1]), Texts{"13812345678"});
}

TEST(vcard, broken_text_is_passed_over)
{
    EXPECT_TRUE(contactsIn("BEGIN:VCARD\nTEL:1\n").empty());
    EXPECT_EQ(contactsIn(":\n;\n;:\n\"\nTEL\n =\nFN;QUOTED-PRINTABLE:=\n\nEND:VCARD").size(), 1U);
    EXPECT_TRUE(contactsIn("").empty());
    EXPECT_TRUE(contactsIn(" \n\t\n").empty());
}

} // namespace
} // namespace velq::kit
