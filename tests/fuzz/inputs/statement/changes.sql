UPDATE t SET a = a + 1, c = c || 'y' WHERE b > 1; INSERT INTO t (a, c) SELECT b, c FROM t; DELETE FROM city WHERE country.code = 'fr';
INSERT INTO city (name, country) VALUES ('Basel', 'ch'), ('Hafen', 'is'); DELETE FROM country; UPDATE place SET name = NULL;
SELECT oid(p), is_a(p, 'city'), p FROM place p
