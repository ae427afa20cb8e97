#include <iostream>
#include "sql/connection.h"
int main(){ auto data = qd::sql::connection::open_temporary();
 data.execute("CREATE TABLE c (id bigint NOT NULL, k bigint, name text, size numeric, data double precision); CREATE INDEX c_kn ON c (k, name); CREATE UNIQUE INDEX c_id ON c (id); CREATE INDEX c_name ON c (name DESC); CREATE TABLE d (id bigint, c_id bigint, w bigint); CREATE INDEX d_c ON d (c_id, w)");
 for (int i=0;i<400;i++) data.execute("INSERT INTO c VALUES (" + std::to_string(i)+", "+std::to_string(i%20)+", 'n"+std::to_string(i)+"', 1, 1)");
 for (int i=0;i<800;i++) data.execute("INSERT INTO d VALUES (" + std::to_string(i)+", "+std::to_string(i%400)+", 3)");
 std::string q; while (std::getline(std::cin,q)) { try { std::cout << "-- " << q << "\n" << data.prepare(q).plan_text() << "\n"; } catch (std::exception const& e) { std::cout << "-- " << q << "\n! " << e.what() << "\n"; } } }
