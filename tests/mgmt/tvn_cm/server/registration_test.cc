// The processor table: registration, cloning, the command list.
#include <memory>
#include <typeinfo>

#include <gtest/gtest.h>

#include "common/tvn_omitf_placeholder.h"
#include "test_handlers.h"
#include "tvn_cm_omagent.h"
#include "tvn_test_service_files.h"

namespace {

using namespace om_test;
using namespace tvn_test;

class Table : public ::testing::Test {
protected:
    void TearDown() override { tvn_cm_omagent::clear_processors(); }
    service_files files_;
};

TEST_F(Table, ARepeatedCodeKeepsTheFirstClassAndLogsTheConflict) {
    tvn_omagent_register_processor<answering>(kCodeAnswer);
    tvn_omagent_register_processor<failing>(kCodeAnswer);
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 1u);
    std::unique_ptr<tvn_cm_ombase> h(tvn_cm_omagent::Get_Processor(kCodeAnswer));
    ASSERT_NE(h, nullptr);
    EXPECT_NE(dynamic_cast<answering*>(h.get()), nullptr);
    EXPECT_TRUE(files_.logged("processor OpCode conflict. OpCode:" + std::to_string(kCodeAnswer)));
}

TEST_F(Table, EachCodeOfOneClassGetsItsOwnFreshObjectBuiltWithThatCode) {
    tvn_omagent_register_processor<answering>(kCodeAnswer);
    tvn_omagent_register_processor<answering>(kCodeAnswer2);
    std::unique_ptr<tvn_cm_ombase> a(tvn_cm_omagent::Get_Processor(kCodeAnswer));
    std::unique_ptr<tvn_cm_ombase> b(tvn_cm_omagent::Get_Processor(kCodeAnswer2));
    std::unique_ptr<tvn_cm_ombase> a2(tvn_cm_omagent::Get_Processor(kCodeAnswer));
    ASSERT_TRUE(a && b && a2);
    EXPECT_EQ(a->get_opcode(), kCodeAnswer);
    EXPECT_EQ(b->get_opcode(), kCodeAnswer2);
    EXPECT_NE(a.get(), a2.get());
    EXPECT_EQ(typeid(*a), typeid(answering));
    EXPECT_EQ(typeid(*b), typeid(answering));
}

TEST_F(Table, UnknownCodeAndEmptyPrototype) {
    EXPECT_EQ(tvn_cm_omagent::Get_Processor(0x1234), nullptr);
    EXPECT_TRUE(files_.logged("can not find processor. OpCode:4660"));
    EXPECT_FALSE(tvn_cm_omagent::Register_Processor(nullptr));
    EXPECT_TRUE(files_.logged("OMAgent param processor is NULL."));
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 0u);
}

TEST_F(Table, TheListRegistersEveryCodeOnce) {
    tvn_cm_register_all_commands();
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 328u);
    // First, last and a few unusual codes of the list.
    for (unsigned long long code : {0xd40ab4000ULL, 0xd01676000ULL, 0x5021ULL, 0x42d40001ULL, 0xd01b4000aULL,
                                    0x45011ULL, 0x55011ULL, 0xd88c64000ULL, 0xd40114000ULL}) {
        std::unique_ptr<tvn_cm_ombase> h(tvn_cm_omagent::Get_Processor(code));
        ASSERT_NE(h, nullptr) << std::hex << code;
        EXPECT_EQ(h->get_opcode(), code);
    }
    // Registering the list again changes nothing: every code is taken.
    tvn_cm_register_all_commands();
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 328u);
}

TEST_F(Table, AClassRegisteredBeforeTheListKeepsItsCode) {
    tvn_omagent_register_processor<answering>(0xd40114000ULL);
    tvn_cm_register_all_commands();
    std::unique_ptr<tvn_cm_ombase> h(tvn_cm_omagent::Get_Processor(0xd40114000ULL));
    EXPECT_NE(dynamic_cast<answering*>(h.get()), nullptr);
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 328u);
}

TEST_F(Table, CommandsNotBuiltYetAnswerNotSupported) {
    tvn_cm_register_all_commands();
    std::unique_ptr<tvn_cm_ombase> h(tvn_cm_omagent::Get_Processor(0xd500001b9ULL));
    ASSERT_NE(h, nullptr);
    void* rsp = nullptr;
    EXPECT_EQ(h->ommsg_deal(nullptr, &rsp), -95);
    EXPECT_EQ(rsp, nullptr);
    EXPECT_TRUE(files_.logged("Command not supported, opcode: 57176752569."));
}

TEST_F(Table, ClearEmptiesTheTable) {
    tvn_cm_register_all_commands();
    tvn_cm_omagent::clear_processors();
    EXPECT_EQ(tvn_cm_omagent::processor_count(), 0u);
    EXPECT_EQ(tvn_cm_omagent::Get_Processor(0xd40114000ULL), nullptr);
}

}  // namespace
