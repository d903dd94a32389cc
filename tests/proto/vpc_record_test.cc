// The VPC marker map's stored entry travels between the store and every
// reader of the map; its fields are the contract, number by number.
#include <string>
#include <vector>

#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include "talvane_store_nfs.pb.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

struct field_row {
    int number;
    const char* name;
    FieldDescriptor::Type type;
};

const std::vector<field_row> kVpcFields = {
    {1, "marker_id", FieldDescriptor::TYPE_UINT32},
    {2, "vpc_id", FieldDescriptor::TYPE_STRING},
    {3, "project_id", FieldDescriptor::TYPE_STRING},
    {4, "tenant_id", FieldDescriptor::TYPE_UINT32},
};

void expect_vpc_fields(const Descriptor* d) {
    ASSERT_NE(d, nullptr);
    SCOPED_TRACE(d->full_name());
    EXPECT_EQ(d->field_count(), static_cast<int>(kVpcFields.size()));
    for (const auto& row : kVpcFields) {
        const FieldDescriptor* f = d->FindFieldByNumber(row.number);
        ASSERT_NE(f, nullptr) << "field " << row.number;
        EXPECT_EQ(f->name(), row.name);
        EXPECT_EQ(f->type(), row.type) << row.name;
        EXPECT_TRUE(f->is_required()) << row.name;
        EXPECT_FALSE(f->has_default_value()) << row.name;
    }
}

TEST(VpcRecords, StoredEntryHasExactlyTheFieldsOfTheAddRequest) {
    expect_vpc_fields(AddVpcMapReq::descriptor());
    expect_vpc_fields(mul_vstore_nfs_vpc::descriptor());
    EXPECT_EQ(ShowVpcMapRsp::descriptor()->FindFieldByName("vpc_info")->message_type(),
              mul_vstore_nfs_vpc::descriptor());
}

TEST(VpcRecords, AnEntryWithoutAllFourFieldsDoesNotTravel) {
    mul_vstore_nfs_vpc vpc;
    vpc.set_marker_id(7);
    vpc.set_vpc_id("vpc-1");
    vpc.set_project_id("prj-1");
    EXPECT_FALSE(vpc.IsInitialized());
    vpc.set_tenant_id(0);
    ASSERT_TRUE(vpc.IsInitialized());

    // The two records share one wire form: an add request reads back as an entry.
    AddVpcMapReq add;
    add.set_marker_id(7);
    add.set_vpc_id("vpc-1");
    add.set_project_id("prj-1");
    add.set_tenant_id(3);
    mul_vstore_nfs_vpc back;
    ASSERT_TRUE(back.ParseFromString(add.SerializeAsString()));
    EXPECT_EQ(back.marker_id(), 7u);
    EXPECT_EQ(back.vpc_id(), "vpc-1");
    EXPECT_EQ(back.project_id(), "prj-1");
    EXPECT_EQ(back.tenant_id(), 3u);
}

}  // namespace
